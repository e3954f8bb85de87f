// The command tree: header patterns such as "[SOURce]:VOLTage:PROTection:[LEVel]" bound to a
// set handler and a query handler. Resolves a typed header (short or long forms, optional
// nodes left out, a numeric suffix on nodes marked '#') to its entry.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "scpi_parser.h"

namespace qdxsim::scpi {

// What a handler gets and fills.
struct Call {
  const ProgramUnit& unit;
  int suffix = 1;  // the numeric suffix of the pattern's '#' node (1 when not typed)
  std::string reply;
};

// Returns 0 or an SCPI error number.
using Handler = std::function<int(Call&)>;

struct CommandEntry {
  struct Node {
    std::string pattern;  // "VOLTage"
    bool optional = false;
    bool takesSuffix = false;
  };
  std::vector<Node> nodes;
  Handler set;    // empty: no command form
  Handler query;  // empty: no query form
  bool indefiniteReply = false;  // "*IDN?"-like: must be the last query of its message
};

class HeaderTree {
 public:
  // `pattern` is ':'-separated; "[X]" marks an optional node, a trailing '#' a node that
  // takes a numeric suffix. Common commands are written as "*IDN".
  CommandEntry& Add(std::string_view pattern, Handler set, Handler query);
  // The entry the typed nodes name, or nullptr. `suffix` receives the '#' node's suffix.
  // A suffix typed on a node that takes none matches nothing.
  const CommandEntry* Find(const std::vector<Mnemonic>& typed, int& suffix) const;

 private:
  std::vector<CommandEntry> entries_;
};

}  // namespace qdxsim::scpi
