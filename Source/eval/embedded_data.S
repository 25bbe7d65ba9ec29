/* Files that the assembler puts into the program as they are; symbols named *_end stand behind the last byte. */

#if defined(_WIN32)
    .section .rdata, "dr"
#else
    .section .rodata
#endif

/* The network file that NN_File "embedded" selects. */
    .balign 64
    .globl embedded_network
embedded_network:
    .incbin "embedded.nn"
    .globl embedded_network_end
embedded_network_end:
    .byte 0

/* The evaluation parameters that are loaded at start-up. */
    .globl default_params
default_params:
    .incbin "default_params.txt"
    .globl default_params_end
default_params_end:
    .byte 0

#if defined(__ELF__)
    .section .note.GNU-stack, "", %progbits
#endif
