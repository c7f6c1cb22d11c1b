// Sizes that only a whole module can settle.
#pragma once

#include <cstdint>

#include "records/allowance.h"

struct DescType;

// Size in bytes of what a variable of the type takes: through typedefs and qualifiers, and for an array without a size
// the product of its dimensions and its element. 0 for null, for a chain that ends in null, and for a type that
// contains itself or is too long a chain to be honest. Arithmetic wraps at 32 bits.
//
// Each type and dimension on the way is charged as a byte; 0 once the allowance is used up.
int32_t TypeSize(const DescType* type, Allowance* allowance);

// The type after typedefs and qualifiers. Null for null, for a chain that ends in null or is too long.
const DescType* UnqualifiedType(const DescType* type, Allowance* allowance);

// Stores the size of an array type without one, its elements' first. Does nothing on any other type.
void SettleArray(DescType* type, Allowance* allowance);
