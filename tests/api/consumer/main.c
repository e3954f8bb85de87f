/* Links against the installed library through find_package(veqdx) and calls into it. */
#include <string.h>

#include "veqdx.h"

int main(void) {
  ViChar message[256];
  if (veqdx_error_message(VI_NULL, VEQDX_ERROR_IO_TIMEOUT, message) != VI_SUCCESS) return 1;
  return strcmp(message, "I/O timeout error.") == 0 ? 0 : 2;
}
