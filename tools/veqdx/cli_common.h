// Shared pieces of the veqdx command-line tool: the global options, the two kinds of failure
// (driver and usage) with their exit statuses, and a session wrapper over the C interface.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "veqdx.h"

namespace veqdx_cli {

enum ExitStatus { kExitOk = 0, kExitFailure = 1, kExitUsage = 2, kExitInterrupted = 130 };

struct GlobalOptions {
  std::string resource;
  bool simulate = false;
  std::string options;
  std::optional<int> timeoutMs;
  std::string outputs;
  bool json = false;
  bool quiet = false;
};

// A failed driver call (or a file the tool cannot use): exit status 1, one line on stderr.
struct DriverError : std::runtime_error {
  DriverError(ViStatus s, const std::string& description)
      : std::runtime_error(description), status(s) {}
  ViStatus status;
};

// A command line the tool cannot act on: exit status 2 and a hint to --help.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The option string for veqdx_InitWithOptions: Simulate first, the user's text after it, and
// IoTimeout added to the DriverSetup part (which is always the last item).
std::string BuildOptionString(bool simulate, const std::string& options,
                              std::optional<int> timeoutMs);

// Expands "Output1-Output3, Output5" against the session's output names, in session order
// for a range. Names the session does not have are kept, so the driver reports them.
std::vector<std::string> ExpandSelector(const std::string& selector,
                                        const std::vector<std::string>& names);

// An open driver session; closes it when it goes out of scope.
class CSession {
 public:
  CSession(const std::string& resource, bool idQuery, const std::string& optionString);
  ~CSession();
  CSession(const CSession&) = delete;
  CSession& operator=(const CSession&) = delete;

  ViSession vi() const { return vi_; }
  // Throws DriverError with the recorded description when status is an error.
  void Check(ViStatus status) const;
  std::vector<std::string> OutputNames() const;
  // The outputs the user selected with --output, or every output.
  std::vector<std::string> Select(const std::string& selector) const;
  std::string GetString(ViAttr attribute, const std::string& repCap = "") const;
  double GetReal(ViAttr attribute, const std::string& repCap) const;
  bool GetBool(ViAttr attribute, const std::string& repCap) const;
  // One direct-I/O exchange: writes the command and, for a query, returns the reply.
  std::string Query(const std::string& command) const;

 private:
  ViSession vi_ = VI_NULL;
};

// Opens the session the global options describe (resource, simulation, options, timeout).
CSession OpenSession(const GlobalOptions& options, bool idQuery);

// The description the driver recorded for vi (or the thread, VI_NULL), on one line.
std::string RecordedError(ViSession vi, ViStatus status);
std::string HexStatus(ViStatus status);
// "%.*f" without the locale's surprises; trailing zeros kept as asked.
std::string Fixed(double value, int decimals);
std::string Shortest(double value);  // %.15g: what the instrument would read back

void PrintJson(const nlohmann::json& document);

}  // namespace veqdx_cli
