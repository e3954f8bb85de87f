/*
 * veqdx-example-c: a complete, copyable C program that drives one power supply output through
 * libveqdx.so: open a session, configure, enable, measure, read the instrument's error queue,
 * show how a refused call is reported, switch off and close.
 *
 *   veqdx-example-c                                    simulated supply, nothing connected
 *   veqdx-example-c TCPIP::192.168.1.20::5025::SOCKET  a supply on the network
 *   veqdx-example-c <resource> "<option string>"       e.g. "QueryInstrumentStatus=true"
 *
 * Build it on its own:  cc main.c -o example $(pkg-config --cflags --libs veqdx)
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "veqdx.h"

/* Prints the session's recorded error (or the thread's, for VI_NULL) after a failed call. */
static void ShowError(ViSession vi, const char* what, ViStatus status) {
  ViStatus code = 0;
  ViChar description[512];
  ViChar message[256];
  size_t length;
  veqdx_GetError(vi, &code, (ViInt32)sizeof description, description);
  veqdx_error_message(vi, status, message);
  /* A driver message ends with a line break of its own (CR LF); print it as one line. */
  length = strlen(description);
  while (length > 0 && (description[length - 1] == '\n' || description[length - 1] == '\r'))
    description[--length] = '\0';
  fflush(stdout); /* keep the report in order with what was printed before */
  fprintf(stderr, "%s failed: status 0x%08lX (%s)\n  %s\n", what,
          (unsigned long)(ViUInt32)status, message, description);
}

/* Evaluates a call; on failure reports it and jumps to the clean-up. */
#define CHECK(vi, call)                      \
  do {                                       \
    ViStatus status_ = (call);               \
    if (status_ < VI_SUCCESS) {              \
      ShowError((vi), #call, status_);       \
      goto done;                             \
    }                                        \
  } while (0)

static void ShowText(ViSession vi, const char* label, ViAttr attribute) {
  ViChar text[256];
  if (veqdx_GetAttributeViString(vi, "", attribute, (ViInt32)sizeof text, text) >= VI_SUCCESS)
    printf("  %-22s %s\n", label, text);
}

int main(int argc, char** argv) {
  const char* resource = argc > 1 ? argv[1] : "TCPIP::localhost::INSTR";
  const char* options = argc > 2 ? argv[2] : (argc > 1 ? "" : "Simulate=true");
  ViSession vi = VI_NULL;
  ViStatus status;
  ViChar output[64];
  ViInt32 outputs = 0;
  ViReal64 volts = 0, amps = 0;
  ViBoolean constantVoltage = VI_FALSE;
  ViInt32 errorCode = 0;
  ViChar errorMessage[256];
  int exitCode = 1;

  printf("Opening %s%s%s\n", resource, *options ? " with " : "", options);
  status = veqdx_InitWithOptions(resource, VI_TRUE, VI_FALSE, options, &vi);
  if (status < VI_SUCCESS) {
    ShowError(VI_NULL, "veqdx_InitWithOptions", status); /* no session: the thread's record */
    return 1;
  }

  printf("Instrument:\n");
  ShowText(vi, "manufacturer", VEQDX_ATTR_INSTRUMENT_MANUFACTURER);
  ShowText(vi, "model", VEQDX_ATTR_INSTRUMENT_MODEL);
  ShowText(vi, "firmware", VEQDX_ATTR_INSTRUMENT_FIRMWARE_REVISION);
  ShowText(vi, "driver revision", VEQDX_ATTR_SPECIFIC_DRIVER_REVISION);
  CHECK(vi, veqdx_GetAttributeViInt32(vi, "", VEQDX_ATTR_OUTPUT_COUNT, &outputs));
  CHECK(vi, veqdx_GetOutputName(vi, 1, (ViInt32)sizeof output, output));
  printf("  %-22s %ld, the first is %s\n", "outputs", (long)outputs, output);

  printf("Configuring %s: 12.5 V, 2 A limit, OVP at 15 V, output on\n", output);
  CHECK(vi, veqdx_ConfigureVoltageLevel(vi, output, 12.5));
  CHECK(vi, veqdx_ConfigureCurrentLimit(vi, output, VEQDX_VAL_CURRENT_REGULATE, 2.0));
  CHECK(vi, veqdx_ConfigureOVP(vi, output, VI_TRUE, 15.0));
  CHECK(vi, veqdx_ConfigureOutputEnabled(vi, output, VI_TRUE));

  CHECK(vi, veqdx_Measure(vi, output, VEQDX_VAL_MEASURE_VOLTAGE, &volts));
  CHECK(vi, veqdx_Measure(vi, output, VEQDX_VAL_MEASURE_CURRENT, &amps));
  CHECK(vi, veqdx_QueryOutputState(vi, output, VEQDX_VAL_OUTPUT_CONSTANT_VOLTAGE,
                                   &constantVoltage));
  printf("Measured %.4f V, %.4f A; constant voltage: %s\n", volts, amps,
         constantVoltage ? "yes" : "no");

  /* A level above the output's rating is refused before anything is sent. */
  status = veqdx_ConfigureVoltageLevel(vi, output, 1000.0);
  if (status < VI_SUCCESS) {
    printf("Asking for 1000 V is refused, as it should be:\n");
    ShowError(vi, "veqdx_ConfigureVoltageLevel(1000 V)", status);
    veqdx_ClearError(vi);
  }

  CHECK(vi, veqdx_error_query(vi, &errorCode, errorMessage));
  printf("Instrument error queue: %ld, %s\n", (long)errorCode, errorMessage);

  printf("Switching the output off\n");
  CHECK(vi, veqdx_ConfigureOutputEnabled(vi, output, VI_FALSE));
  exitCode = 0;

done:
  status = veqdx_close(vi);
  if (status < VI_SUCCESS) {
    ShowError(VI_NULL, "veqdx_close", status);
    exitCode = 1;
  }
  printf(exitCode == 0 ? "Closed.\n" : "Closed after an error.\n");
  return exitCode;
}
