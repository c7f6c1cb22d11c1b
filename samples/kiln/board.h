// The board: a converter for the thermocouple, a pulse width timer for the heater, a serial port.
#ifndef BOARD_H
#define BOARD_H
#include <stdbool.h>
#include <stdint.h>

struct adc_control {
  uint32_t enabled : 1, busy : 1;
  uint32_t channel : 5;
  uint32_t : 9;
  uint32_t sample : 12;
};

struct board {
  volatile struct adc_control adc;
  volatile uint16_t duty, period;
  volatile union {
    uint32_t word;
    uint8_t bytes[4];
  } serial;
  volatile uint32_t buttons;
};

#define BOARD ((struct board *)0x40010000)

#endif
