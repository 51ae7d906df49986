/* SPDX-License-Identifier: MIT */
@ What the DLL imports from the system library: a thunk for each function, and the import
@ tables in the format of the system's loader. Addresses are offsets from the image's base;
@ the loader overwrites the words of .idata.5 with the functions' addresses.
    .syntax unified
    .arm
    .global __import_addresses, __import_addresses_end

    .section .idata.2, "aw"             @ import directory: one library, then a null entry
    .balign 4
    .global __import_directory, __import_directory_end
__import_directory:
    .word   .Llookup, 0, 0, .Llibrary, .Laddresses
    .word   0, 0, 0, 0, 0
__import_directory_end:

    .section .idata.4, "aw"             @ lookup table
.Llookup:
    .section .idata.5, "aw"             @ address table
__import_addresses:
.Laddresses:
    .section .idata.6, "aw"             @ names
.Llibrary:
    .asciz  "coredll.dll"

    .macro  import name
    .section .text.import, "ax"
    .global \name
    .type   \name, %function
\name:
    ldr     r12, 1f
    ldr     r12, [r12]
    bx      r12
1:  .word   .Laddress_\name
    .section .idata.4, "aw"
    .word   .Lname_\name
    .section .idata.5, "aw"
.Laddress_\name:
    .word   .Lname_\name
    .section .idata.6, "aw"
    .balign 2
.Lname_\name:
    .hword  0                           @ hint: the place in the library's table, unknown
    .asciz  "\name"
    .endm

    .include "imports.inc"              @ "import NAME" for each line of coredll.def

    .section .idata.4, "aw"
    .word   0
    .section .idata.5, "aw"
    .word   0
__import_addresses_end:

    .section .note.GNU-stack, "", %progbits
