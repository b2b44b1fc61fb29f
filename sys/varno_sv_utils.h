// All services of the board in one header (known in the system as varno_SV_utils).
#pragma once

#include "sys/clock.h"
#include "sys/display_output.h"
#include "sys/leds.h"
#include "sys/path_strings.h"
#include "sys/power.h"
#include "sys/run_program.h"
#include "sys/storage.h"
#include "sys/usb.h"
