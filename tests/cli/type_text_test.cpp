#include "text/type_text.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>

namespace elfload {
namespace {

// Records as a reader makes them, with C's types built from the inside out.
class TypeText : public testing::Test {
 protected:
  DescType* Type(uint32_t kind, const char* name, DescType* target = nullptr) {
    DescType& type = types_.emplace_back();
    type.kind = kind;
    type.name = Text(name);
    type.target.type = target;
    return &type;
  }
  DescType* Pointer(DescType* target) { return Type(KIND_POINTER, "pointer", target); }
  DescType* Const(DescType* target) { return Type(KIND_CONST, "const", target); }
  DescType* Array(DescType* element, std::initializer_list<int32_t> counts) {
    DescType* type = Type(KIND_ARRAY, "array");
    type->element.type = element;
    DescDimension** end = &type->items.dimensions;
    for (const int32_t count : counts) {
      *end = &dimensions_.emplace_back(DescDimension{nullptr, 0, count - 1});
      end = &(*end)->next;
    }
    return type;
  }
  DescType* Function(DescType* result, std::initializer_list<DescType*> params, bool isPrototyped = true) {
    DescType* type = Type(KIND_FUNCTION, "function", result);
    type->items.params = Vars(params);
    type->element.prototyped = isPrototyped;
    return type;
  }
  DescVar* Vars(std::initializer_list<DescType*> types, const char* name = "") {
    DescVar* first = nullptr;
    DescVar** end = &first;
    for (DescType* type : types) {
      *end = &vars_.emplace_back();
      (*end)->type = type;
      (*end)->name = Text(name);
      end = &(*end)->next;
    }
    return first;
  }
  char* Text(const char* text) { return texts_.emplace_back(text).data(); }

  std::deque<DescType> types_;
  std::deque<DescVar> vars_;
  std::deque<DescDimension> dimensions_;
  std::deque<std::string> texts_;
};

TEST_F(TypeText, DeclarationsAsInC) {
  DescType* integer = Type(KIND_BASIC, "int");
  DescType* character = Type(KIND_BASIC, "char");
  DescType* node = Type(KIND_STRUCT, "node");
  const std::pair<const DescType*, const char*> facts[] = {
      {integer, "int x"},
      {nullptr, "void x"},
      {Array(Pointer(node), {4}), "struct node *x[4]"},
      {Pointer(Array(node, {4})), "struct node (*x)[4]"},
      {Array(integer, {0}), "int x[]"},
      {Array(Array(integer, {3}), {2}), "int x[2][3]"},
      {Const(Pointer(Const(character))), "const char *const x"},
      {Const(Type(KIND_VOLATILE, "volatile", integer)), "const volatile int x"},
      {Pointer(Function(integer, {})), "int (*x)(void)"},
      {Pointer(Function(integer, {}, false)), "int (*x)()"},
      {Array(Pointer(Function(nullptr, {integer, Pointer(Const(character))})), {8}), "void (*x[8])(int, const char *)"},
      {Pointer(Function(Pointer(Function(integer, {character})), {integer})), "int (*(*x)(int))(char)"},
      {Type(KIND_REFERENCE, "reference", node), "struct node &x"},
      {Type(KIND_TYPEDEF, "uint8_t", character), "uint8_t x"},
      {Type(KIND_TYPEDEF, "typedef", character), "char x"},
      {Type(KIND_UNION, "union"), "union {...} x"},
      {Type(KIND_ENUM, "unknown(4)"), "enum {...} x"},
      {Type(KIND_CLASS, "Plant"), "class Plant x"},
  };
  for (const auto& [type, text] : facts) EXPECT_EQ(Declaration(type, "x"), text);
  EXPECT_EQ(Declaration(Array(Pointer(node), {4}), ""), "struct node *[4]");
  EXPECT_EQ(Declaration(Const(Pointer(character)), ""), "char *const");
  EXPECT_EQ(Definition(Type(KIND_TYPEDEF, "handler", Pointer(Function(nullptr, {integer})))),
            "typedef void (*handler)(int)");
}

TEST_F(TypeText, Prototypes) {
  DescType undefined{nullptr, Text("undefined"), NO_KEY, 0, KIND_BASIC, {0}, {0}, {0}};
  DescProc proc{};
  proc.name = Text("main");
  proc.returnType = Type(KIND_BASIC, "int");
  proc.prototyped = 1;
  EXPECT_EQ(Prototype(&proc), "int main(void)");
  proc.params = Vars({Pointer(Pointer(Type(KIND_BASIC, "char")))}, "argv");
  EXPECT_EQ(Prototype(&proc), "int main(char **argv)");
  proc.params = nullptr;
  proc.returnType = &undefined;
  EXPECT_EQ(Prototype(&proc), "main:");
  proc.returnType = nullptr;
  proc.name = Text("Line Info from 0x100 to 0x120");
  EXPECT_EQ(Prototype(&proc), proc.name);
}

TEST_F(TypeText, LongNamesEndAndBlanksBeforeBracketsGo) {
  DescType* node = Type(KIND_STRUCT, std::string(100000, 'n').c_str());
  DescType* function = Function(nullptr, {});
  function->items.params = Vars({node, node, node, node, node, node, node, node, node, node, node, node, node, node});
  EXPECT_LT(Declaration(Function(function, {Pointer(function), node}), "x").size(), 1300000u);
  EXPECT_EQ(Declaration(Type(KIND_BASIC, "a  ) ))b "), ""), "a)))b");
}

}  // namespace
}  // namespace elfload
