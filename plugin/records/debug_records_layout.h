// Layout of the debug records, asserted. Included by debug_records.h only.
#pragma once

// clang-format off

ELFLOADER_FIELD(DescModule, next, 0, 0);
ELFLOADER_FIELD(DescModule, name, 4, 8);
ELFLOADER_FIELD(DescModule, objectFile, 8, 16);
ELFLOADER_FIELD(DescModule, directory, 12, 24);
ELFLOADER_FIELD(DescModule, heap, 16, 32);
ELFLOADER_FIELD(DescModule, types, 20, 40);
ELFLOADER_FIELD(DescModule, lowPc, 24, 48);
ELFLOADER_FIELD(DescModule, highPc, 28, 52);
ELFLOADER_FIELD(DescModule, loadedKinds, 32, 56);
ELFLOADER_FIELD(DescModule, hasRange, 36, 60);
ELFLOADER_FIELD(DescModule, procs, 40, 64);
ELFLOADER_FIELD(DescModule, vars, 44, 72);
ELFLOADER_FIELD(DescModule, files, 48, 80);
ELFLOADER_FIELD(DescModule, lineBlocks, 52, 88);
ELFLOADER_FIELD(DescModule, typeCount, 56, 96);
ELFLOADER_FIELD(DescModule, language, 60, 100);
ELFLOADER_FIELD(DescModule, ext, 64, 104);
ELFLOADER_SIZE(DescModule, 68, 112);

ELFLOADER_FIELD(DescModuleExt, lineOffset, 0, 0);
ELFLOADER_FIELD(DescModuleExt, firstEntry, 4, 4);
ELFLOADER_FIELD(DescModuleExt, abbrevs, 8, 8);
ELFLOADER_FIELD(DescModuleExt, addressSize, 12, 16);
ELFLOADER_FIELD(DescModuleExt, frames, 16, 24);
ELFLOADER_FIELD(DescModuleExt, unitOffset, 20, 32);
ELFLOADER_FIELD(DescModuleExt, addrRanges, 24, 40);
ELFLOADER_FIELD(DescModuleExt, globalNames, 28, 48);
ELFLOADER_FIELD(DescModuleExt, pendingArrays, 32, 56);
ELFLOADER_FIELD(DescModuleExt, pendingFields, 36, 64);
ELFLOADER_FIELD(DescModuleExt, bitNumbering, 40, 72);
ELFLOADER_FIELD(DescModuleExt, mergedModules, 44, 80);
ELFLOADER_FIELD(DescModuleExt, inlinedCalls, 48, 88);
ELFLOADER_SIZE(DescModuleExt, 52, 96);

ELFLOADER_FIELD(DescProc, next, 0, 0);
ELFLOADER_FIELD(DescProc, name, 4, 8);
ELFLOADER_FIELD(DescProc, returnType, 8, 16);
ELFLOADER_FIELD(DescProc, prototyped, 12, 24);
ELFLOADER_FIELD(DescProc, lowPc, 16, 28);
ELFLOADER_FIELD(DescProc, highPc, 20, 32);
ELFLOADER_FIELD(DescProc, reserved1, 24, 40);
ELFLOADER_FIELD(DescProc, returnAddress, 28, 48);
ELFLOADER_FIELD(DescProc, frameBase, 32, 56);
ELFLOADER_FIELD(DescProc, reserved2, 36, 64);
ELFLOADER_FIELD(DescProc, reserved3, 40, 72);
ELFLOADER_FIELD(DescProc, locals, 44, 80);
ELFLOADER_FIELD(DescProc, params, 48, 88);
ELFLOADER_FIELD(DescProc, callKind, 52, 96);
ELFLOADER_FIELD(DescProc, segment, 56, 100);
ELFLOADER_FIELD(DescProc, codeMarks, 60, 104);
ELFLOADER_SIZE(DescProc, 64, 112);

ELFLOADER_FIELD(DescVar, next, 0, 0);
ELFLOADER_FIELD(DescVar, name, 4, 8);
ELFLOADER_FIELD(DescVar, type, 8, 16);
ELFLOADER_FIELD(DescVar, byteSize, 12, 24);
ELFLOADER_FIELD(DescVar, bitOffset, 16, 28);
ELFLOADER_FIELD(DescVar, bitSize, 17, 29);
ELFLOADER_FIELD(DescVar, reserved, 20, 32);
ELFLOADER_FIELD(DescVar, location, 24, 40);
ELFLOADER_FIELD(DescVar, segment, 28, 48);
ELFLOADER_SIZE(DescVar, 32, 56);

ELFLOADER_FIELD(DescLocation, next, 0, 0);
ELFLOADER_FIELD(DescLocation, lowPc, 4, 8);
ELFLOADER_FIELD(DescLocation, highPc, 8, 12);
ELFLOADER_FIELD(DescLocation, expression, 12, 16);
ELFLOADER_SIZE(DescLocation, 16, 24);

ELFLOADER_FIELD(DescType, next, 0, 0);
ELFLOADER_FIELD(DescType, name, 4, 8);
ELFLOADER_FIELD(DescType, key, 8, 16);
ELFLOADER_FIELD(DescType, byteSize, 12, 20);
ELFLOADER_FIELD(DescType, kind, 16, 24);
ELFLOADER_FIELD(DescType, target, 20, 32);
ELFLOADER_FIELD(DescType, items, 24, 40);
ELFLOADER_FIELD(DescType, element, 28, 48);
ELFLOADER_SIZE(DescType, 32, 56);

ELFLOADER_FIELD(DescFile, next, 0, 0);
ELFLOADER_FIELD(DescFile, baseName, 4, 8);
ELFLOADER_FIELD(DescFile, fullName, 8, 16);
ELFLOADER_SIZE(DescFile, 12, 24);

ELFLOADER_FIELD(DescLineBlock, next, 0, 0);
ELFLOADER_FIELD(DescLineBlock, fileName, 4, 8);
ELFLOADER_FIELD(DescLineBlock, count, 8, 16);
ELFLOADER_FIELD(DescLineBlock, addresses, 12, 24);
ELFLOADER_FIELD(DescLineBlock, lines, 16, 32);
ELFLOADER_FIELD(DescLineBlock, columns, 20, 40);
ELFLOADER_SIZE(DescLineBlock, 24, 48);

ELFLOADER_FIELD(DescEnumerator, next, 0, 0);
ELFLOADER_FIELD(DescEnumerator, name, 4, 8);
ELFLOADER_FIELD(DescEnumerator, value, 8, 16);
ELFLOADER_SIZE(DescEnumerator, 12, 24);

ELFLOADER_FIELD(DescDimension, next, 0, 0);
ELFLOADER_FIELD(DescDimension, low, 4, 8);
ELFLOADER_FIELD(DescDimension, high, 8, 12);
ELFLOADER_SIZE(DescDimension, 12, 16);

ELFLOADER_FIELD(DescAddrRange, next, 0, 0);
ELFLOADER_FIELD(DescAddrRange, low, 4, 8);
ELFLOADER_FIELD(DescAddrRange, high, 8, 12);
ELFLOADER_SIZE(DescAddrRange, 12, 16);

ELFLOADER_FIELD(DescGlobalName, next, 0, 0);
ELFLOADER_FIELD(DescGlobalName, name, 4, 8);
ELFLOADER_SIZE(DescGlobalName, 8, 16);

ELFLOADER_FIELD(DescInlinedCall, next, 0, 0);
ELFLOADER_FIELD(DescInlinedCall, name, 4, 8);
ELFLOADER_FIELD(DescInlinedCall, lowPc, 8, 16);
ELFLOADER_FIELD(DescInlinedCall, highPc, 12, 20);
ELFLOADER_FIELD(DescInlinedCall, fileName, 16, 24);
ELFLOADER_FIELD(DescInlinedCall, line, 20, 32);
ELFLOADER_FIELD(DescInlinedCall, column, 24, 36);
ELFLOADER_FIELD(DescInlinedCall, depth, 28, 40);
ELFLOADER_SIZE(DescInlinedCall, 32, 48);

ELFLOADER_FIELD(DescCodeMark, address, 0, 0);
ELFLOADER_FIELD(DescCodeMark, next, 4, 8);
ELFLOADER_SIZE(DescCodeMark, 8, 16);

ELFLOADER_FIELD(DescLineRange, low, 0, 0);
ELFLOADER_FIELD(DescLineRange, high, 4, 4);
ELFLOADER_SIZE(DescLineRange, 8, 8);

ELFLOADER_FIELD(Dwarf2Cie, next, 0, 0);
ELFLOADER_FIELD(Dwarf2Cie, offset, 4, 8);
ELFLOADER_FIELD(Dwarf2Cie, codeAlignment, 8, 12);
ELFLOADER_FIELD(Dwarf2Cie, dataAlignment, 12, 16);
ELFLOADER_FIELD(Dwarf2Cie, returnRegister, 16, 20);
ELFLOADER_FIELD(Dwarf2Cie, instructionLength, 20, 24);
ELFLOADER_FIELD(Dwarf2Cie, instructions, 24, 32);
ELFLOADER_SIZE(Dwarf2Cie, 28, 40);

ELFLOADER_FIELD(Dwarf2Fde, next, 0, 0);
ELFLOADER_FIELD(Dwarf2Fde, cie, 4, 8);
ELFLOADER_FIELD(Dwarf2Fde, lowPc, 8, 16);
ELFLOADER_FIELD(Dwarf2Fde, highPc, 12, 20);
ELFLOADER_FIELD(Dwarf2Fde, instructionLength, 16, 24);
ELFLOADER_FIELD(Dwarf2Fde, instructions, 20, 32);
ELFLOADER_SIZE(Dwarf2Fde, 24, 40);

// clang-format on
