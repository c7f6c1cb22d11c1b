// Reset: the stack pointer, then data and bss, then main.
#include "board.h"

extern u32 data_load[], data_start[], data_end[], bss_start[], bss_end[], stack_top[];
int main(void);

static void copy_data(void) {
  const u32 *from = data_load;
  u32 *to;
  for (to = data_start; to < data_end; to++) {
    *to = *from++;
  }
  for (to = bss_start; to < bss_end; to++) {
    *to = 0;
  }
}

void start(void) {
  copy_data();
  main();
  for (;;) {
  }
}

__attribute__((section(".reset"), naked, used)) void reset(void) {
  __asm__ volatile("lis 1, stack_top@ha\n\taddi 1, 1, stack_top@l\n\tb start");
}
