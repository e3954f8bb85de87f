/* The part of the VISA C library interface this driver uses: base types, the status and
 * attribute numbers, and the signatures of the functions resolved at run time. Written from
 * the published VISA numbers so that the driver builds without a vendor's visa.h; plain C so
 * that the tests' fake VISA library (C) shares it.
 */
#ifndef VEQDX_IO_VISA_API_H
#define VEQDX_IO_VISA_API_H

#include <stdint.h>

typedef uint32_t VqViUInt32;
typedef int32_t VqViStatus;
typedef uint32_t VqViSession;
typedef uint32_t VqViObject;
typedef uint32_t VqViAttr;
typedef uint64_t VqViAttrState; /* an attribute value, as wide as the widest one */
typedef uint16_t VqViUInt16;
typedef uint32_t VqViAccessMode;

/* Success codes. */
#define VQ_VI_SUCCESS ((VqViStatus)0)
#define VQ_VI_SUCCESS_TERM_CHAR ((VqViStatus)0x3FFF0005)
#define VQ_VI_SUCCESS_MAX_CNT ((VqViStatus)0x3FFF0006)

/* Error codes the driver tells apart. */
#define VQ_VI_ERROR_RSRC_NFOUND ((VqViStatus)0xBFFF0011u)
#define VQ_VI_ERROR_INV_RSRC_NAME ((VqViStatus)0xBFFF0012u)
#define VQ_VI_ERROR_TMO ((VqViStatus)0xBFFF0015u)
#define VQ_VI_ERROR_NSUP_ATTR ((VqViStatus)0xBFFF001Du)
#define VQ_VI_ERROR_RSRC_LOCKED ((VqViStatus)0xBFFF000Fu)

/* Access modes of viOpen / viLock. */
#define VQ_VI_NO_LOCK 0u
#define VQ_VI_EXCLUSIVE_LOCK 1u
#define VQ_VI_SHARED_LOCK 2u
#define VQ_VI_LOAD_CONFIG 4u

#define VQ_VI_TRUE 1u
#define VQ_VI_FALSE 0u

/* Attributes. Bit 31 set marks the attributes whose value is a string (or pointer). */
#define VQ_VI_ATTR_RSRC_CLASS 0xBFFF0001u  /* ViString */
#define VQ_VI_ATTR_RSRC_NAME 0xBFFF0002u   /* ViString */
#define VQ_VI_ATTR_SEND_END_EN 0x3FFF0016u /* ViBoolean */
#define VQ_VI_ATTR_TERMCHAR 0x3FFF0018u    /* ViUInt8 */
#define VQ_VI_ATTR_TMO_VALUE 0x3FFF001Au   /* ViUInt32 */
#define VQ_VI_ATTR_IO_PROT 0x3FFF001Cu     /* ViUInt16 */
#define VQ_VI_ATTR_TERMCHAR_EN 0x3FFF0038u /* ViBoolean */
#define VQ_VI_ATTR_ASRL_END_IN 0x3FFF00B3u /* ViUInt16 */
#define VQ_VI_ATTR_ASRL_END_OUT 0x3FFF00B4u /* ViUInt16 */
#define VQ_VI_ATTR_MANF_ID 0x3FFF00D9u     /* ViUInt16 */
#define VQ_VI_ATTR_INTF_TYPE 0x3FFF0171u   /* ViUInt16 */
#define VQ_VI_ATTR_INTF_NUM 0x3FFF0176u    /* ViUInt16 */
#define VQ_VI_ATTR_STRING_FLAG 0x80000000u

/* VI_ATTR_ASRL_END_IN values. */
#define VQ_VI_ASRL_END_NONE 0u
#define VQ_VI_ASRL_END_TERMCHAR 2u

/* VI_ATTR_INTF_TYPE values. */
#define VQ_VI_INTF_GPIB 1u
#define VQ_VI_INTF_VXI 2u
#define VQ_VI_INTF_GPIB_VXI 3u
#define VQ_VI_INTF_ASRL 4u
#define VQ_VI_INTF_PXI 5u
#define VQ_VI_INTF_TCPIP 6u
#define VQ_VI_INTF_USB 7u

/* Longest string a VISA attribute or status description holds, NUL included. */
#define VQ_VI_FIND_BUFLEN 256

typedef VqViStatus (*VqViOpenDefaultRMFn)(VqViSession* rm);
typedef VqViStatus (*VqViOpenFn)(VqViSession rm, const char* name, VqViAccessMode mode,
                                 VqViUInt32 timeout, VqViSession* vi);
typedef VqViStatus (*VqViCloseFn)(VqViObject vi);
typedef VqViStatus (*VqViReadFn)(VqViSession vi, unsigned char* buf, VqViUInt32 count,
                                 VqViUInt32* retCount);
typedef VqViStatus (*VqViWriteFn)(VqViSession vi, const unsigned char* buf, VqViUInt32 count,
                                  VqViUInt32* retCount);
typedef VqViStatus (*VqViSetAttributeFn)(VqViObject vi, VqViAttr attr, VqViAttrState value);
typedef VqViStatus (*VqViGetAttributeFn)(VqViObject vi, VqViAttr attr, void* value);
typedef VqViStatus (*VqViReadSTBFn)(VqViSession vi, VqViUInt16* status);
typedef VqViStatus (*VqViClearFn)(VqViSession vi);
typedef VqViStatus (*VqViLockFn)(VqViSession vi, VqViAccessMode mode, VqViUInt32 timeout,
                                 const char* requestedKey, char* accessKey);
typedef VqViStatus (*VqViUnlockFn)(VqViSession vi);
typedef VqViStatus (*VqViStatusDescFn)(VqViObject vi, VqViStatus status, char* desc);

#endif /* VEQDX_IO_VISA_API_H */
