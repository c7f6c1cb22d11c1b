@ What runs before C in most firmware: with -g a unit without children.
	.syntax unified
	.cpu cortex-m3
	.thumb
	.section .text.start, "ax"
	.global _start
	.type _start, %function
_start:
	ldr	r0, =main
	blx	r0
1:	b	1b
	.size _start, . - _start
	.section .text.wait, "ax"
	.global wait_for_event
	.type wait_for_event, %function
wait_for_event:
	wfe
	bx	lr
	.size wait_for_event, . - wait_for_event
