#include "records/type_size.h"

#include "records/debug_records.h"

namespace {

// Typedefs, nested arrays and dimensions that one question goes through: more than any file has on purpose.
constexpr uint32_t MAX_TYPE_STEPS = 1000;

// The walk from a type to its size. Whatever runs in a circle or is too long ends it.
class SizeWalk {
 public:
  int32_t SizeOf(const DescType* type);
  uint32_t StepsTaken() const { return MAX_TYPE_STEPS - steps_; }

  const DescType* Unqualified(const DescType* type);

 private:
  bool Step() { return steps_ != 0 && --steps_ != 0; }
  uint32_t ElementCount(const DescDimension* dimensions);

  uint32_t steps_ = MAX_TYPE_STEPS;
};

// The type after typedefs and qualifiers, null when the chain ends.
const DescType* SizeWalk::Unqualified(const DescType* type) {
  while (type != nullptr && (type->kind == KIND_TYPEDEF || type->kind == KIND_CONST || type->kind == KIND_VOLATILE)) {
    type = Step() ? type->target.type : nullptr;
  }
  return type;
}

uint32_t SizeWalk::ElementCount(const DescDimension* dimensions) {
  uint32_t count = dimensions != nullptr ? 1 : 0;
  for (; dimensions != nullptr && Step(); dimensions = dimensions->next) {
    count *= static_cast<uint32_t>(dimensions->high) - static_cast<uint32_t>(dimensions->low) + 1;
  }
  return count;
}

int32_t SizeWalk::SizeOf(const DescType* type) {
  uint32_t count = 1;
  for (type = Unqualified(type); type != nullptr && Step(); type = Unqualified(type->element.type)) {
    if (type->kind != KIND_ARRAY || type->byteSize > 0) {
      return static_cast<int32_t>(count * static_cast<uint32_t>(type->byteSize));
    }
    count *= ElementCount(type->items.dimensions);
    if (steps_ != 0 && type->byteSize < 0) {
      return static_cast<int32_t>(count * (0U - static_cast<uint32_t>(type->byteSize)));
    }
  }
  return 0;
}

}  // namespace

int32_t TypeSize(const DescType* type, Allowance* allowance) {
  SizeWalk walk;
  const int32_t size = allowance->IsLeft() ? walk.SizeOf(type) : 0;
  allowance->Consume(walk.StepsTaken());
  return size;
}

const DescType* UnqualifiedType(const DescType* type, Allowance* allowance) {
  SizeWalk walk;
  const DescType* unqualified = allowance->IsLeft() ? walk.Unqualified(type) : nullptr;
  allowance->Consume(walk.StepsTaken());
  return unqualified;
}

void SettleArray(DescType* type, Allowance* allowance) {
  // Innermost first: the nested arrays on the way in, then their sizes on the way out. An array around one that stays
  // without a size stays without one too.
  DescType* nested[MAX_TYPE_STEPS];
  uint32_t depth = 0;
  while (type != nullptr && type->kind == KIND_ARRAY && depth < MAX_TYPE_STEPS) {
    nested[depth++] = type;
    type = type->element.type;
  }
  allowance->Consume(depth);
  bool isSizeless = false;
  while (depth != 0) {
    DescType* array = nested[--depth];
    if (array->byteSize == 0 && !isSizeless) {
      array->byteSize = TypeSize(array, allowance);
    }
    isSizeless = array->byteSize == 0;
  }
}
