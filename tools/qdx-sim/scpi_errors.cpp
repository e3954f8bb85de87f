#include "scpi_errors.h"

namespace qdxsim::scpi {

const char* errorText(int code) {
  switch (code) {
    case 0: return "No error";
    case err::kInvalidCharacter: return "Invalid character";
    case err::kSyntax: return "Syntax error";
    case err::kInvalidSeparator: return "Invalid separator";
    case err::kDataType: return "Data type error";
    case err::kParameterNotAllowed: return "Parameter not allowed";
    case err::kMissingParameter: return "Missing parameter";
    case err::kMnemonicTooLong: return "Program mnemonic too long";
    case err::kUndefinedHeader: return "Undefined header";
    case err::kSuffixOutOfRange: return "Header suffix out of range";
    case err::kNumericData: return "Numeric data error";
    case err::kExponentTooLarge: return "Exponent too large";
    case err::kInvalidSuffix: return "Invalid suffix";
    case err::kInvalidCharacterData: return "Invalid character data";
    case err::kCharacterDataNotAllowed: return "Character data not allowed";
    case err::kInvalidStringData: return "Invalid string data";
    case err::kStringDataNotAllowed: return "String data not allowed";
    case err::kTriggerIgnored: return "Trigger ignored";
    case err::kInitIgnored: return "Init ignored";
    case err::kSettingsConflict: return "Settings conflict";
    case err::kDataOutOfRange: return "Data out of range";
    case err::kQueueOverflow: return "Queue overflow";
    case err::kInputBufferOverrun: return "Input buffer overrun";
    case err::kQueryUnterminatedIndefinite: return "Query UNTERMINATED after indefinite response";
    default: return "Unknown error";
  }
}

std::uint8_t esrBitOf(int code) {
  if (code <= -100 && code > -200) return esr::kCommandError;
  if (code <= -200 && code > -300) return esr::kExecutionError;
  if (code <= -300 && code > -400) return esr::kDeviceError;
  if (code <= -400 && code > -500) return esr::kQueryError;
  return 0;
}

std::string errorEntry(int code) {
  return std::to_string(code) + ",\"" + errorText(code) + "\"";
}

}  // namespace qdxsim::scpi
