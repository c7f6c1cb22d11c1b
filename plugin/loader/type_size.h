// Sizes that only a whole module can settle.
#pragma once

#include <cstdint>

struct DescType;

// Size in bytes of what a variable of the type takes: through typedefs and qualifiers, and for an array without a size
// the product of its dimensions and its element. 0 for null, for a chain that ends in null, and for a type that
// contains itself or is too long a chain to be honest. Arithmetic wraps at 32 bits.
int32_t TypeSize(const DescType* type);

// Stores the size of an array type that has none, its elements' first. Does nothing on any other type.
void SettleArray(DescType* type);
