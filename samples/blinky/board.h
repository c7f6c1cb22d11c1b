// The board: one port with eight LEDs, a tick timer, a serial port.
#ifndef BOARD_H
#define BOARD_H

typedef unsigned char u8;
typedef unsigned short u16;
typedef unsigned long u32;

struct timer_control {
  u32 running : 1;
  u32 interrupt : 1;
  u32 prescale : 4;
  u32 reload : 16;
};

struct board {
  volatile u8 leds;
  volatile u8 buttons;
  volatile u16 ticks;
  volatile struct timer_control timer;
  volatile union {
    u32 word;
    u8 bytes[4];
  } serial;
};

#define BOARD ((struct board *)0xFF000000)

#endif
