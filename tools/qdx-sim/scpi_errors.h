// SCPI error numbers the emulator reports, with their standard texts and the Standard Event
// Status Register bit each class sets.
#pragma once
#include <cstdint>
#include <string>

namespace qdxsim::scpi {

namespace err {
// Command errors (-1xx): the message could not be parsed; the rest of it is skipped.
constexpr int kInvalidCharacter = -101;
constexpr int kSyntax = -102;
constexpr int kInvalidSeparator = -103;
constexpr int kDataType = -104;
constexpr int kParameterNotAllowed = -108;
constexpr int kMissingParameter = -109;
constexpr int kMnemonicTooLong = -112;
constexpr int kUndefinedHeader = -113;
constexpr int kSuffixOutOfRange = -114;
constexpr int kNumericData = -120;
constexpr int kExponentTooLarge = -123;
constexpr int kInvalidSuffix = -131;
constexpr int kInvalidCharacterData = -141;
constexpr int kCharacterDataNotAllowed = -148;
constexpr int kInvalidStringData = -151;
constexpr int kStringDataNotAllowed = -158;
// Execution errors (-2xx): the command was understood but cannot be carried out.
constexpr int kTriggerIgnored = -211;
constexpr int kInitIgnored = -213;
constexpr int kSettingsConflict = -221;
constexpr int kDataOutOfRange = -222;
// Device-specific errors (-3xx).
constexpr int kQueueOverflow = -350;
constexpr int kInputBufferOverrun = -363;
// Query errors (-4xx).
constexpr int kQueryUnterminatedIndefinite = -440;
}  // namespace err

// Standard Event Status Register bits.
namespace esr {
constexpr std::uint8_t kOperationComplete = 0x01;
constexpr std::uint8_t kQueryError = 0x04;
constexpr std::uint8_t kDeviceError = 0x08;
constexpr std::uint8_t kExecutionError = 0x10;
constexpr std::uint8_t kCommandError = 0x20;
constexpr std::uint8_t kPowerOn = 0x80;
}  // namespace esr

// Standard text of an error number ("Undefined header"); "Unknown error" for others.
const char* errorText(int code);
// The ESR bit that an error of this number sets (0 for 0 or an unknown class).
std::uint8_t esrBitOf(int code);
inline bool isCommandError(int code) { return code <= -100 && code > -200; }
// The ":SYST:ERR?" form: -222,"Data out of range".
std::string errorEntry(int code);

}  // namespace qdxsim::scpi
