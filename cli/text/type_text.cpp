#include "text/type_text.h"

#include <fmt/format.h>

#include <cstring>

#include "session/proc_kind.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

// Limits on the text of one type. Real declarations stay far below them.
constexpr int deepestNesting = 64;
constexpr int mostTypes = 256;
constexpr size_t mostText =
    size_t{1} << 20;  // bytes of names, past which no type is begun: records may share long ones

bool Is(const char* text, const char* word) {
  return text != nullptr && std::strcmp(text, word) == 0;
}

// Whether a type has a name other than the fixed word for one without.
bool HasOwnName(const DescType* type) {
  const char* name = type->name;
  if (name == nullptr || *name == '\0') return false;
  switch (type->kind) {
    case KIND_TYPEDEF:
      return !Is(name, "typedef");
    case KIND_ENUM:
      return !Is(name, "enum") && std::strncmp(name, "unknown", 7) != 0;
    case KIND_STRUCT:
      return !Is(name, "struct");
    case KIND_UNION:
      return !Is(name, "union");
    case KIND_CLASS:
      return !Is(name, "class");
    default:
      return true;
  }
}

std::string OwnName(const DescType* type) {
  return HasOwnName(type) ? PrintableName(type->name) : "";
}

class Declarator {
 public:
  // Adds a declaration to `text`. `inner` is what is to the right of the type: the name with what binds to it already.
  void Declare(const DescType* type, std::string inner, std::string& text) {
    std::string qualifiers;
    const int outer = depth_;
    bool isWhole = false;
    while (!isWhole && ++types_ <= mostTypes && depth_ < deepestNesting && text_ <= mostText) {
      depth_++;
      isWhole = !WrapTarget(type, inner, qualifiers);
    }
    depth_ = outer;
    text += qualifiers;
    text += isWhole ? Named(type) : "...";
    if (inner.empty()) return;
    if (inner[0] != '[') text += ' ';
    text += inner;
  }

  void Parameters(const DescVar* params, bool isPrototyped, std::string& text) {
    text += params == nullptr && isPrototyped ? "(void" : "(";
    const size_t first = text.size();
    for (const DescVar* param = params; param != nullptr; param = param->next) {
      if (text.size() > first) text += ", ";
      if (types_ > mostTypes || text_ > mostText) {
        text += "...";
        break;
      }
      if (Is(param->name, "...")) {  // of the DWARF 1 reader, for unspecified ones
        text += "...";
      } else {
        Declare(param->type, Count(PrintableName(param->name)), text);
      }
    }
    text += ')';
  }

 private:
  // A name, counted as text of this declaration.
  std::string Count(std::string name) {
    text_ += name.size();
    return name;
  }

  std::string Tag(const char* keyword, const DescType* type) {
    const std::string name = Count(OwnName(type));
    return fmt::format("{} {}", keyword, name.empty() ? "{...}" : name);
  }

  static std::string Dimensions(const DescDimension* dimensions) {
    if (dimensions == nullptr) return "[]";
    std::string text;
    for (const DescDimension* item = dimensions; item != nullptr; item = item->next) {
      const int64_t count = int64_t{item->high} - item->low + 1;
      text += count > 0 ? fmt::format("[{}]", count) : "[]";
      if (text.size() > 1024) return text + "...";
    }
    return text;
  }

  // Writes a type that is made of another one around `inner`, and sets `type` to that other. False for types that
  // have a text of their own.
  bool WrapTarget(const DescType*& type, std::string& inner, std::string& qualifiers) {
    if (type == nullptr) return false;
    switch (type->kind) {
      case KIND_TYPEDEF:
        if (HasOwnName(type)) return false;
        break;
      case KIND_POINTER:
      case KIND_REFERENCE:
        inner.insert(0, qualifiers).insert(0, 1, type->kind == KIND_POINTER ? '*' : '&');
        qualifiers.clear();
        if (BindsStronger(type->target.type)) inner.insert(0, 1, '(').push_back(')');
        break;
      case KIND_CONST:
        qualifiers += "const ";
        break;
      case KIND_VOLATILE:
        qualifiers += "volatile ";
        break;
      case KIND_ARRAY:
        inner += Dimensions(type->items.dimensions);
        type = type->element.type;
        return true;
      case KIND_FUNCTION:
        Parameters(type->items.params, type->element.prototyped != 0, inner);
        qualifiers.clear();
        break;
      default:
        return false;
    }
    type = type->target.type;
    return true;
  }

  // Whether a type's brackets bind stronger than a pointer in front of them.
  static bool BindsStronger(const DescType* type) {
    return type != nullptr && (type->kind == KIND_ARRAY || type->kind == KIND_FUNCTION);
  }

  std::string Named(const DescType* type) {
    if (type == nullptr) return "void";
    switch (type->kind) {
      case KIND_ENUM:
        return Tag("enum", type);
      case KIND_STRUCT:
        return Tag("struct", type);
      case KIND_UNION:
        return Tag("union", type);
      case KIND_CLASS:
        return Tag("class", type);
      default:
        return Count(OwnName(type));
    }
  }

  int types_ = 0;
  int depth_ = 0;
  size_t text_ = 0;  // bytes of names so far
};

// "*const p" has a blank that "const int" needs and "*const" before brackets does not.
std::string Trimmed(std::string text) {
  if (text.find(" )") == std::string::npos && !text.ends_with(' ')) return text;
  std::string trimmed;
  const auto dropBlanks = [&trimmed] { trimmed.resize(trimmed.find_last_not_of(' ') + 1); };
  for (const char c : text) {
    if (c == ')') dropBlanks();
    trimmed += c;
  }
  dropBlanks();
  return trimmed;
}

}  // namespace

std::string Declaration(const DescType* type, std::string_view name) {
  std::string text;
  Declarator().Declare(type, std::string(name), text);
  return Trimmed(std::move(text));
}

std::string Prototype(const DescProc* proc) {
  std::string name = PrintableName(proc->name);
  if (KindOf(proc) == ProcKind::lineInfo) return name;
  if (KindOf(proc) == ProcKind::label) return name + ":";
  if (name.empty()) name = "?";
  Declarator().Parameters(proc->params, proc->prototyped != 0, name);
  std::string text;
  Declarator().Declare(proc->returnType, std::move(name), text);
  return Trimmed(std::move(text));
}

std::string Definition(const DescType* type) {
  switch (type->kind) {
    case KIND_TYPEDEF:
      return "typedef " + Declaration(type->target.type, OwnName(type));
    case KIND_BASIC:
      return HasOwnName(type) ? OwnName(type) : "?";
    default:
      return Declaration(type, "");
  }
}

}  // namespace elfload
