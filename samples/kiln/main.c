// Fires a kiln: the button starts a profile, the serial port shows the temperature.
#include "heater.h"
#include "profile.h"

static struct firing firing = {.phase = PHASE_IDLE};
static volatile uint32_t ticks;
static int history[4][16];

void tick(void) {
  ticks++;
}

__attribute__((cold, noinline)) static void alarm(const char *text) {
  while (*text)
    BOARD->serial.bytes[0] = (uint8_t)*text++;
  BOARD->duty = 0;
}

static void put_number(int number) {
  char digits[12];
  unsigned count = 0, rest = number < 0 ? -(unsigned)number : (unsigned)number;
  do
    digits[count++] = (char)('0' + rest % 10);
  while ((rest /= 10) != 0);
  if (number < 0)
    digits[count++] = '-';
  while (count)
    BOARD->serial.bytes[0] = (uint8_t)digits[--count];
}

static void report(int columns) {
  int sums[columns];
  for (int column = 0; column < columns; column++) {
    sums[column] = 0;
    for (unsigned row = 0; row < 4; row++)
      sums[column] += history[row][column];
  }
  for (int column = 0; column < columns; column++)
    put_number(sums[column] / 4);
}

int main(void) {
  for (unsigned round = 0;; round++) {
    uint32_t before = ticks;
    int temperature = heater_read();
    history[round / 16 % 4][round % 16] = temperature;
    if (temperature > 1300 * 16) {
      alarm("too hot");
      firing.phase = PHASE_IDLE;
    } else if (BOARD->buttons & 3) {
      firing_start(&firing, &profiles[BOARD->buttons & 1]);
    }
    if (firing_step(&firing, temperature))
      heater_drive(firing.setpoint, &temperature);
    if (round % 64 == 0)
      report(8 + (int)(round / 64 % 2) * 8);
    while (ticks == before) {
    }
  }
}

// Nothing calls this: the linker leaves it out, its debug information stays.
void self_test(void) {
  for (int duty = 0; duty < 256; duty++)
    BOARD->duty = (uint16_t)duty;
  alarm("tested");
}
