/* veqdx.h as a C99 application sees it: compiles under -std=c99 -pedantic -Werror, links
 * against libveqdx.so, and its constants have the published values. */
#include "veqdx.h"

#include <stdio.h>
#include <string.h>

static int failures = 0;

static void Expect(int ok, const char* what) {
  if (!ok) {
    printf("FAILED: %s\n", what);
    ++failures;
  }
}

int main(void) {
  ViChar message[256];
  ViStatus status;
  ViStatus code = 1;
  ViChar description[64];

  Expect((ViUInt32)VEQDX_ERROR_INVALID_SESSION_HANDLE == 0xBFFA1190u, "invalid session value");
  Expect((ViUInt32)IVI_ERROR_INVALID_SESSION_HANDLE == 0xBFFA1190u, "IVI alias value");
  Expect((ViUInt32)VEQDX_ERROR_INVALID_SUB_REGISTER == 0xBFFA4218u, "sub-register value");
  Expect(VEQDX_WARN_UNKNOWN_STATUS == 0x3FFF0085, "unknown status value");
  Expect(VEQDX_ERROR_NULL_POINTER < 0, "errors are negative");
  Expect(VEQDX_ATTR_OCP_LIMIT == 1150012L && VEQDX_ATTR_OUTPUT_COUNT == 1250203L,
         "attribute identifiers");
  Expect(VEQDX_VAL_OUTPUT_OVER_VOLTAGE2 == 28 && VEQDX_VAL_TRIG_SW_TRIG_FUNC == 2,
         "enumeration values");
  Expect(sizeof(ViSession) == 4 && sizeof(ViStatus) == 4 && sizeof(ViBoolean) == 2,
         "VISA type sizes");

  status = veqdx_error_message(VI_NULL, VEQDX_ERROR_INVALID_SESSION_HANDLE, message);
  Expect(status == VI_SUCCESS, "error_message status");
  Expect(strcmp(message, "The session handle is not valid.") == 0, "error_message text");

  /* An unknown handle is refused and recorded for this thread. */
  status = veqdx_ClearError((ViSession)0x12345u);
  Expect(status == IVI_ERROR_INVALID_SESSION_HANDLE, "forged handle refused");
  status = veqdx_GetError(VI_NULL, &code, (ViInt32)sizeof description, description);
  Expect(status == VI_SUCCESS && code == VEQDX_ERROR_INVALID_SESSION_HANDLE,
         "thread error code");
  Expect(strcmp(description, "The session handle is not valid.") == 0, "thread error text");

  if (failures == 0) printf("veqdx.h C99 check passed\n");
  return failures == 0 ? 0 : 1;
}
