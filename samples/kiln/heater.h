#ifndef HEATER_H
#define HEATER_H
#include "board.h"

#ifdef __cplusplus
extern "C" {
void heater_drive(int setpoint, const int &temperature);
#else
void heater_drive(int setpoint, const int *temperature);
#endif
int heater_read(void);
#ifdef __cplusplus
}
#endif

#endif
