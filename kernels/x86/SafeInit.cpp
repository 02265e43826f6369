#include "ProcessorDispatch.h"

// Written out, since a compiler may use the argument registers of a function without arguments as it likes. Six
// registers of eight bytes and the eight below them restore the alignment of the stack at a call.
__attribute__((naked)) void ippSafeInit() {
    __asm__("pushq %rdi\n\t"
            "pushq %rsi\n\t"
            "pushq %rdx\n\t"
            "pushq %rcx\n\t"
            "pushq %r8\n\t"
            "pushq %r9\n\t"
            "subq $8, %rsp\n\t"
            ".cfi_adjust_cfa_offset 56\n\t"
            "call ippInit\n\t"
            "addq $8, %rsp\n\t"
            "popq %r9\n\t"
            "popq %r8\n\t"
            "popq %rcx\n\t"
            "popq %rdx\n\t"
            "popq %rsi\n\t"
            "popq %rdi\n\t"
            ".cfi_adjust_cfa_offset -56\n\t"
            "ret");
}
