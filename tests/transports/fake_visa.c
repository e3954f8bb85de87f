/* A fake VISA C library for the tests: it exports the functions the driver resolves, logs
 * every call to the file named by FAKE_VISA_LOG (one line per call) and acts as a device
 * described by the script file named by FAKE_VISA_SCRIPT. The script is read again at every
 * viOpenDefaultRM, so each open starts from it. Script lines ("#" starts a comment):
 *
 *   rm_status 0xBFFF0011         viOpenDefaultRM fails with this status
 *   open_status 0xBFFF0011       viOpen fails with this status
 *   attr 0x3FFF0171 2 4          numeric attribute: id, width in bytes, value
 *   sattr 0xBFFF0001 SOCKET      string attribute
 *   sattr_unterminated 0xBFFF0002   string attribute that fills the buffer without a NUL
 *   attr_fail 0xBFFF0001 0xBFFF001D  viGetAttribute of this id fails
 *   set_fail 0x3FFF00B3 0xBFFF001D   viSetAttribute of this id fails
 *   reply TEXT                   queued device output (escapes \n \r \t \\ \xNN)
 *   on MESSAGE<TAB>REPLY         queue REPLY whenever MESSAGE is written (END-less, LF-less)
 *   stb 66                       the status byte viReadSTB returns
 *   status viRead 0xBFFF003C     this function fails with this status (every call)
 *
 * Without a queued reply a read times out at once (VI_ERROR_TMO). Reads honour the
 * termination character attributes and the count as VISA does.
 */
#define _POSIX_C_SOURCE 200809L
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "io/visa_api.h"

#define EXPORT __attribute__((visibility("default")))
#define MAX_ATTRS 64
#define MAX_REPLIES 64
#define MAX_RULES 32
#define MAX_STATUS 16
#define TEXT_MAX 4096
#define RM_HANDLE 1u
#define SESSION_BASE 100u
#define MAX_SESSIONS 8

typedef struct {
  VqViAttr id;
  int width;
  uint64_t value;
  int isString;
  int unterminated;
  char text[VQ_VI_FIND_BUFLEN];
  VqViStatus getFail;
  VqViStatus setFail;
} Attr;

typedef struct {
  char data[TEXT_MAX];
  size_t size;
  size_t pos;
} Reply;

typedef struct {
  char message[TEXT_MAX];
  char reply[TEXT_MAX];
  size_t replySize;
} Rule;

typedef struct {
  char function[32];
  VqViStatus status;
} ForcedStatus;

static struct {
  VqViStatus rmStatus;
  VqViStatus openStatus;
  Attr scriptAttrs[MAX_ATTRS];
  int scriptAttrCount;
  Reply replies[MAX_REPLIES];
  int replyHead, replyCount;
  Rule rules[MAX_RULES];
  int ruleCount;
  unsigned stb;
  ForcedStatus forced[MAX_STATUS];
  int forcedCount;
  int rmOpen;
  int sessionOpen[MAX_SESSIONS];
  Attr attrs[MAX_SESSIONS][MAX_ATTRS];
  int attrCount[MAX_SESSIONS];
  char written[MAX_SESSIONS][TEXT_MAX];
  size_t writtenSize[MAX_SESSIONS];
} g;

static void logCall(const char* format, ...) {
  const char* path = getenv("FAKE_VISA_LOG");
  if (path == NULL) return;
  FILE* f = fopen(path, "a");
  if (f == NULL) return;
  va_list args;
  va_start(args, format);
  vfprintf(f, format, args);
  va_end(args);
  fputc('\n', f);
  fclose(f);
}

/* Bytes as a C string literal body, for the log. */
static void escape(const char* data, size_t size, char* out, size_t outSize) {
  size_t o = 0;
  for (size_t i = 0; i < size && o + 5 < outSize; ++i) {
    unsigned char c = (unsigned char)data[i];
    if (c == '\n') o += (size_t)snprintf(out + o, outSize - o, "\\n");
    else if (c == '\r') o += (size_t)snprintf(out + o, outSize - o, "\\r");
    else if (c == '\\') o += (size_t)snprintf(out + o, outSize - o, "\\\\");
    else if (c < 32 || c > 126) o += (size_t)snprintf(out + o, outSize - o, "\\x%02X", c);
    else out[o++] = (char)c;
  }
  out[o] = '\0';
}

static size_t unescape(const char* in, char* out, size_t outSize) {
  size_t o = 0;
  for (size_t i = 0; in[i] != '\0' && o < outSize; ++i) {
    if (in[i] != '\\' || in[i + 1] == '\0') {
      out[o++] = in[i];
      continue;
    }
    char e = in[++i];
    if (e == 'n') out[o++] = '\n';
    else if (e == 'r') out[o++] = '\r';
    else if (e == 't') out[o++] = '\t';
    else if (e == 'x' && in[i + 1] && in[i + 2]) {
      char hex[3] = {in[i + 1], in[i + 2], 0};
      out[o++] = (char)strtoul(hex, NULL, 16);
      i += 2;
    } else out[o++] = e;
  }
  return o;
}

static VqViStatus forcedStatus(const char* function) {
  for (int i = 0; i < g.forcedCount; ++i)
    if (strcmp(g.forced[i].function, function) == 0) return g.forced[i].status;
  return VQ_VI_SUCCESS;
}

static Attr* findAttr(Attr* list, int count, VqViAttr id) {
  for (int i = 0; i < count; ++i)
    if (list[i].id == id) return &list[i];
  return NULL;
}

static Attr* scriptAttr(VqViAttr id) {
  Attr* a = findAttr(g.scriptAttrs, g.scriptAttrCount, id);
  if (a == NULL && g.scriptAttrCount < MAX_ATTRS) {
    a = &g.scriptAttrs[g.scriptAttrCount++];
    memset(a, 0, sizeof *a);
    a->id = id;
    a->width = 4;
  }
  return a;
}

static void queueReply(const char* data, size_t size) {
  if (g.replyCount >= MAX_REPLIES) return;
  Reply* r = &g.replies[(g.replyHead + g.replyCount++) % MAX_REPLIES];
  if (size > TEXT_MAX) size = TEXT_MAX;
  memcpy(r->data, data, size);
  r->size = size;
  r->pos = 0;
}

static void readScript(void) {
  memset(&g, 0, sizeof g);
  const char* path = getenv("FAKE_VISA_SCRIPT");
  FILE* f = path ? fopen(path, "r") : NULL;
  if (f == NULL) return;
  char line[2 * TEXT_MAX];
  while (fgets(line, sizeof line, f) != NULL) {
    line[strcspn(line, "\n")] = '\0';
    char* rest = strchr(line, ' ');
    if (line[0] == '#' || rest == NULL) continue;
    *rest++ = '\0';
    char* end = NULL;
    if (strcmp(line, "rm_status") == 0) g.rmStatus = (VqViStatus)strtoul(rest, NULL, 0);
    else if (strcmp(line, "open_status") == 0) g.openStatus = (VqViStatus)strtoul(rest, NULL, 0);
    else if (strcmp(line, "stb") == 0) g.stb = (unsigned)strtoul(rest, NULL, 0);
    else if (strcmp(line, "reply") == 0) {
      char data[TEXT_MAX];
      queueReply(data, unescape(rest, data, sizeof data));
    } else if (strcmp(line, "on") == 0 && g.ruleCount < MAX_RULES) {
      char* tab = strchr(rest, '\t');
      if (tab == NULL) continue;
      *tab++ = '\0';
      Rule* r = &g.rules[g.ruleCount++];
      unescape(rest, r->message, sizeof r->message - 1);
      r->replySize = unescape(tab, r->reply, sizeof r->reply);
    } else if (strcmp(line, "status") == 0 && g.forcedCount < MAX_STATUS) {
      char* sp = strchr(rest, ' ');
      if (sp == NULL) continue;
      *sp++ = '\0';
      ForcedStatus* s = &g.forced[g.forcedCount++];
      snprintf(s->function, sizeof s->function, "%s", rest);
      s->status = (VqViStatus)strtoul(sp, NULL, 0);
    } else {
      VqViAttr id = (VqViAttr)strtoul(rest, &end, 0);
      Attr* a = scriptAttr(id);
      if (a == NULL) continue;
      if (strcmp(line, "attr") == 0) {
        a->width = (int)strtol(end, &end, 0);
        a->value = strtoull(end, NULL, 0);
        a->isString = 0;
      } else if (strcmp(line, "sattr") == 0) {
        a->isString = 1;
        snprintf(a->text, sizeof a->text, "%s", end + (*end == ' '));
      } else if (strcmp(line, "sattr_unterminated") == 0) {
        a->isString = 1;
        a->unterminated = 1;
      } else if (strcmp(line, "attr_fail") == 0) {
        a->getFail = (VqViStatus)strtoul(end, NULL, 0);
      } else if (strcmp(line, "set_fail") == 0) {
        a->setFail = (VqViStatus)strtoul(end, NULL, 0);
      }
    }
  }
  fclose(f);
}

static int slotOf(VqViObject vi) {
  if (vi < SESSION_BASE || vi >= SESSION_BASE + MAX_SESSIONS) return -1;
  int slot = (int)(vi - SESSION_BASE);
  return g.sessionOpen[slot] ? slot : -1;
}

static void setDefault(int slot, VqViAttr id, int width, uint64_t value, const char* text) {
  Attr* a = &g.attrs[slot][g.attrCount[slot]++];
  memset(a, 0, sizeof *a);
  a->id = id;
  a->width = width;
  a->value = value;
  if (text != NULL) {
    a->isString = 1;
    snprintf(a->text, sizeof a->text, "%s", text);
  }
}

static unsigned interfaceOf(const char* name) {
  static const struct { const char* prefix; unsigned type; } table[] = {
      {"GPIB-VXI", 3}, {"GPIB", 1}, {"VXI", 2}, {"ASRL", 4}, {"PXI", 5}, {"TCPIP", 6}, {"USB", 7}};
  for (size_t i = 0; i < sizeof table / sizeof table[0]; ++i)
    if (strncmp(name, table[i].prefix, strlen(table[i].prefix)) == 0) return table[i].type;
  return 0;
}

EXPORT VqViStatus viOpenDefaultRM(VqViSession* rm) {
  readScript();
  logCall("viOpenDefaultRM");
  if (g.rmStatus != VQ_VI_SUCCESS) return g.rmStatus;
  g.rmOpen = 1;
  *rm = RM_HANDLE;
  return VQ_VI_SUCCESS;
}

EXPORT VqViStatus viOpen(VqViSession rm, const char* name, VqViAccessMode mode,
                         VqViUInt32 timeout, VqViSession* vi) {
  logCall("viOpen %s mode=%u timeout=%u", name, (unsigned)mode, (unsigned)timeout);
  if (rm != RM_HANDLE || !g.rmOpen) return (VqViStatus)0xBFFF000Eu; /* invalid object */
  if (g.openStatus != VQ_VI_SUCCESS) return g.openStatus;
  for (int slot = 0; slot < MAX_SESSIONS; ++slot) {
    if (g.sessionOpen[slot]) continue;
    g.sessionOpen[slot] = 1;
    g.attrCount[slot] = 0;
    g.writtenSize[slot] = 0;
    const char* lastSep = name;
    for (const char* p = strstr(name, "::"); p != NULL; p = strstr(p + 2, "::")) lastSep = p + 2;
    unsigned type = interfaceOf(name);
    const char* digits = name + strcspn(name, "0123456789:");
    setDefault(slot, VQ_VI_ATTR_INTF_TYPE, 2, type, NULL);
    setDefault(slot, VQ_VI_ATTR_INTF_NUM, 2, strtoul(digits, NULL, 10), NULL);
    setDefault(slot, VQ_VI_ATTR_RSRC_CLASS, 0, 0, lastSep);
    setDefault(slot, VQ_VI_ATTR_RSRC_NAME, 0, 0, name);
    setDefault(slot, VQ_VI_ATTR_TMO_VALUE, 4, 2000, NULL);
    setDefault(slot, VQ_VI_ATTR_TERMCHAR, 1, 10, NULL);
    setDefault(slot, VQ_VI_ATTR_TERMCHAR_EN, 2, 0, NULL);
    setDefault(slot, VQ_VI_ATTR_SEND_END_EN, 2, 1, NULL);
    setDefault(slot, VQ_VI_ATTR_IO_PROT, 2, 1, NULL);
    setDefault(slot, VQ_VI_ATTR_MANF_ID, 2, 0x1234, NULL);
    if (type == VQ_VI_INTF_ASRL) setDefault(slot, VQ_VI_ATTR_ASRL_END_IN, 2, 0, NULL);
    for (int i = 0; i < g.scriptAttrCount; ++i) {
      Attr* existing = findAttr(g.attrs[slot], g.attrCount[slot], g.scriptAttrs[i].id);
      if (existing != NULL) *existing = g.scriptAttrs[i];
      else if (g.attrCount[slot] < MAX_ATTRS) g.attrs[slot][g.attrCount[slot]++] = g.scriptAttrs[i];
    }
    *vi = SESSION_BASE + (VqViSession)slot;
    return VQ_VI_SUCCESS;
  }
  return (VqViStatus)0xBFFF0078u; /* VI_ERROR_ALLOC */
}

EXPORT VqViStatus viClose(VqViObject vi) {
  logCall("viClose %s", vi == RM_HANDLE ? "rm" : "session");
  if (vi == RM_HANDLE) {
    g.rmOpen = 0;
    return VQ_VI_SUCCESS;
  }
  int slot = slotOf(vi);
  if (slot < 0) return (VqViStatus)0xBFFF000Eu;
  g.sessionOpen[slot] = 0;
  return VQ_VI_SUCCESS;
}

static uint64_t attrValue(int slot, VqViAttr id) {
  Attr* a = findAttr(g.attrs[slot], g.attrCount[slot], id);
  return a ? a->value : 0;
}

EXPORT VqViStatus viSetAttribute(VqViObject vi, VqViAttr attr, VqViAttrState value) {
  logCall("viSetAttribute 0x%08X %llu", (unsigned)attr, (unsigned long long)value);
  int slot = slotOf(vi);
  if (slot < 0) return (VqViStatus)0xBFFF000Eu;
  Attr* a = findAttr(g.attrs[slot], g.attrCount[slot], attr);
  if (a != NULL && a->setFail != VQ_VI_SUCCESS) return a->setFail;
  if (a == NULL) {
    if (g.attrCount[slot] >= MAX_ATTRS) return VQ_VI_ERROR_NSUP_ATTR;
    a = &g.attrs[slot][g.attrCount[slot]++];
    memset(a, 0, sizeof *a);
    a->id = attr;
    a->width = 4;
  }
  a->value = value;
  return VQ_VI_SUCCESS;
}

EXPORT VqViStatus viGetAttribute(VqViObject vi, VqViAttr attr, void* value) {
  logCall("viGetAttribute 0x%08X", (unsigned)attr);
  int slot = slotOf(vi);
  if (slot < 0) return (VqViStatus)0xBFFF000Eu;
  Attr* a = findAttr(g.attrs[slot], g.attrCount[slot], attr);
  if (a == NULL) return VQ_VI_ERROR_NSUP_ATTR;
  if (a->getFail != VQ_VI_SUCCESS) return a->getFail;
  if (a->unterminated) memset(value, 'A', VQ_VI_FIND_BUFLEN);
  else if (a->isString) memcpy(value, a->text, strlen(a->text) + 1);
  else memcpy(value, &a->value, (size_t)a->width); /* little-endian: the low bytes */
  return VQ_VI_SUCCESS;
}

EXPORT VqViStatus viWrite(VqViSession vi, const unsigned char* buf, VqViUInt32 count,
                          VqViUInt32* retCount) {
  char text[3 * TEXT_MAX];
  escape((const char*)buf, count, text, sizeof text);
  int slot = slotOf(vi);
  logCall("viWrite \"%s\" end=%u", text, slot >= 0 ? (unsigned)attrValue(slot, VQ_VI_ATTR_SEND_END_EN) : 0u);
  *retCount = 0;
  if (slot < 0) return (VqViStatus)0xBFFF000Eu;
  VqViStatus forced = forcedStatus("viWrite");
  if (forced != VQ_VI_SUCCESS) return forced;
  *retCount = count;
  /* Collect the message up to its end (END, or a line feed when the termination character
   * is on) and answer it by the rules. */
  for (VqViUInt32 i = 0; i < count; ++i) {
    if (g.writtenSize[slot] < TEXT_MAX - 1) g.written[slot][g.writtenSize[slot]++] = (char)buf[i];
  }
  int lineEnded = attrValue(slot, VQ_VI_ATTR_TERMCHAR_EN) && count > 0 &&
                  buf[count - 1] == (unsigned char)attrValue(slot, VQ_VI_ATTR_TERMCHAR);
  if (!lineEnded && !attrValue(slot, VQ_VI_ATTR_SEND_END_EN)) return VQ_VI_SUCCESS;
  char* message = g.written[slot];
  size_t size = g.writtenSize[slot];
  while (size > 0 && (message[size - 1] == '\n' || message[size - 1] == '\r')) --size;
  message[size] = '\0';
  for (int i = 0; i < g.ruleCount; ++i) {
    if (strcmp(g.rules[i].message, message) == 0) queueReply(g.rules[i].reply, g.rules[i].replySize);
  }
  g.writtenSize[slot] = 0;
  return VQ_VI_SUCCESS;
}

EXPORT VqViStatus viRead(VqViSession vi, unsigned char* buf, VqViUInt32 count,
                         VqViUInt32* retCount) {
  logCall("viRead %u", (unsigned)count);
  *retCount = 0;
  int slot = slotOf(vi);
  if (slot < 0) return (VqViStatus)0xBFFF000Eu;
  VqViStatus forced = forcedStatus("viRead");
  if (forced != VQ_VI_SUCCESS) return forced;
  if (g.replyCount == 0) return VQ_VI_ERROR_TMO;
  Reply* r = &g.replies[g.replyHead];
  size_t left = r->size - r->pos;
  size_t n = left < count ? left : count;
  VqViStatus status = left <= count ? VQ_VI_SUCCESS : VQ_VI_SUCCESS_MAX_CNT;
  if (attrValue(slot, VQ_VI_ATTR_TERMCHAR_EN)) {
    const char* start = r->data + r->pos;
    const char* term = memchr(start, (int)attrValue(slot, VQ_VI_ATTR_TERMCHAR), n);
    if (term != NULL) {
      n = (size_t)(term - start) + 1;
      status = VQ_VI_SUCCESS_TERM_CHAR;
    }
  }
  memcpy(buf, r->data + r->pos, n);
  r->pos += n;
  *retCount = (VqViUInt32)n;
  if (r->pos == r->size) {
    g.replyHead = (g.replyHead + 1) % MAX_REPLIES;
    --g.replyCount;
  }
  return status;
}

EXPORT VqViStatus viReadSTB(VqViSession vi, VqViUInt16* status) {
  logCall("viReadSTB");
  if (slotOf(vi) < 0) return (VqViStatus)0xBFFF000Eu;
  VqViStatus forced = forcedStatus("viReadSTB");
  if (forced != VQ_VI_SUCCESS) return forced;
  *status = (VqViUInt16)g.stb;
  return VQ_VI_SUCCESS;
}

EXPORT VqViStatus viClear(VqViSession vi) {
  logCall("viClear");
  if (slotOf(vi) < 0) return (VqViStatus)0xBFFF000Eu;
  g.replyCount = 0;
  return forcedStatus("viClear");
}

EXPORT VqViStatus viLock(VqViSession vi, VqViAccessMode mode, VqViUInt32 timeout,
                         const char* requestedKey, char* accessKey) {
  logCall("viLock mode=%u timeout=%u key=%s", (unsigned)mode, (unsigned)timeout,
          requestedKey ? requestedKey : "null");
  (void)accessKey;
  if (slotOf(vi) < 0) return (VqViStatus)0xBFFF000Eu;
  return forcedStatus("viLock");
}

EXPORT VqViStatus viUnlock(VqViSession vi) {
  logCall("viUnlock");
  if (slotOf(vi) < 0) return (VqViStatus)0xBFFF000Eu;
  return forcedStatus("viUnlock");
}

EXPORT VqViStatus viStatusDesc(VqViObject vi, VqViStatus status, char* desc) {
  (void)vi;
  const char* text = "Unknown status code.";
  switch ((uint32_t)status) {
    case 0x00000000u: text = "VI_SUCCESS: Operation completed successfully."; break;
    case 0xBFFF0015u: text = "VI_ERROR_TMO: Timeout expired before operation completed."; break;
    case 0xBFFF0011u:
      text = "VI_ERROR_RSRC_NFOUND: Insufficient location information or the requested device "
             "or resource is not present in the system.";
      break;
    case 0xBFFF0012u: text = "VI_ERROR_INV_RSRC_NAME: Invalid resource reference specified."; break;
    case 0xBFFF003Cu: text = "VI_ERROR_IO: Could not perform operation because of I/O error."; break;
    case 0xBFFF001Du: text = "VI_ERROR_NSUP_ATTR: The specified attribute is not defined."; break;
  }
  snprintf(desc, VQ_VI_FIND_BUFLEN, "%s", text);
  return VQ_VI_SUCCESS;
}
