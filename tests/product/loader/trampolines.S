/* SPDX-License-Identifier: MIT */
// The interface's functions by their names, for programs that link with the loader instead
// of the library: each jumps to the address that the loader has put into its slot. The
// arguments stay where the caller has left them. exports.inc comes from the .def file and
// holds one EXPORT(name) for each function.

#if defined(__arm__)
    .syntax unified
    .arm
#endif

    .macro trampoline name
    .text
    .global \name
    .type   \name, %function
#if defined(__arm__)
    .balign 4
\name:
    ldr     r12, 1f
    ldr     r12, [r12]
    bx      r12
1:  .word   .Lslot_\name
#elif defined(__i386__)
\name:
    jmp     *.Lslot_\name
#endif
    .data
.Lslot_\name:
    .long   0
    .endm

    .data
    .balign 4
    .global jpgExportSlots
jpgExportSlots:

#define EXPORT(name) trampoline name
#include "exports.inc"

    .section .note.GNU-stack, "", %progbits
