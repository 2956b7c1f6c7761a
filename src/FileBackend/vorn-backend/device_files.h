/*
 * The first include of a file that opens objects. A device expects the plain
 * 32-bit calls for them, whose flags are 0x800 and 0x18C1, also where its
 * toolchain asks for 64-bit offsets by default.
 */
#pragma once

#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
