// Types as a C programmer writes them.
//
//   Declaration(type, "next")   "struct node *next[4]", "int (*next)(const char *, ...)"
//   Declaration(type, "")       "struct node *[4]"
// Records may refer to each other in circles; a text that grows out of hand is cut with "...".
#pragma once

#include <string>
#include <string_view>

#include "records/debug_records.h"

namespace elfload {

// The declaration of `name` with a type; a null type is void.
std::string Declaration(const DescType* type, std::string_view name);

// "int main(int argc, char **argv)"; a label is "again:", a line-info range its name.
std::string Prototype(const DescProc* proc);

// A type's definition in a line: "struct node", "typedef unsigned char uint8_t", "enum color".
std::string Definition(const DescType* type);

}  // namespace elfload
