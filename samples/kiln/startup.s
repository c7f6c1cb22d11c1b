@ What runs from reset to main: copies data, clears the rest. Assembled with -g too, as the C files are.
	.syntax unified
	.cpu cortex-m3
	.thumb

	.section .vectors, "a"
	.word	stack_top
	.word	reset
	.word	fault
	.word	fault
	.rept	11
	.word	0
	.endr
	.word	tick

	.section .text.reset, "ax"
	.global	reset
	.type	reset, %function
reset:
	ldr	r0, =data_start
	ldr	r1, =data_end
	ldr	r2, =data_load
1:	cmp	r0, r1
	bhs	2f
	ldr	r3, [r2], #4
	str	r3, [r0], #4
	b	1b
2:	ldr	r0, =bss_start
	ldr	r1, =bss_end
	movs	r2, #0
3:	cmp	r0, r1
	bhs	4f
	str	r2, [r0], #4
	b	3b
4:	bl	main
	b	reset
	.size	reset, . - reset

	.global	fault
	.type	fault, %function
fault:
	b	fault
	.size	fault, . - fault
