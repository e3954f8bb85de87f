#include "header_tree.h"

namespace qdxsim::scpi {

namespace {

bool nodeMatches(const CommandEntry::Node& node, const Mnemonic& typed) {
  if (typed.suffixTyped && !node.takesSuffix) return false;
  return matchesForm(typed.name, node.pattern);
}

bool matchFrom(const std::vector<CommandEntry::Node>& nodes, std::size_t ni,
               const std::vector<Mnemonic>& typed, std::size_t ti, int& suffix) {
  if (ni == nodes.size()) return ti == typed.size();
  const auto& node = nodes[ni];
  if (ti < typed.size() && nodeMatches(node, typed[ti]) &&
      matchFrom(nodes, ni + 1, typed, ti + 1, suffix)) {
    if (node.takesSuffix) suffix = typed[ti].suffix;
    return true;
  }
  return node.optional && matchFrom(nodes, ni + 1, typed, ti, suffix);
}

}  // namespace

CommandEntry& HeaderTree::Add(std::string_view pattern, Handler set, Handler query) {
  CommandEntry entry;
  std::size_t start = 0;
  while (start <= pattern.size()) {
    std::size_t end = pattern.find(':', start);
    if (end == std::string_view::npos) end = pattern.size();
    std::string_view word = pattern.substr(start, end - start);
    CommandEntry::Node node;
    if (word.size() > 2 && word.front() == '[' && word.back() == ']') {
      node.optional = true;
      word = word.substr(1, word.size() - 2);
    }
    if (!word.empty() && word.back() == '#') {
      node.takesSuffix = true;
      word.remove_suffix(1);
    }
    node.pattern = std::string(word);
    entry.nodes.push_back(std::move(node));
    start = end + 1;
  }
  entry.set = std::move(set);
  entry.query = std::move(query);
  entries_.push_back(std::move(entry));
  return entries_.back();
}

const CommandEntry* HeaderTree::Find(const std::vector<Mnemonic>& typed, int& suffix) const {
  for (const auto& entry : entries_) {
    int s = 1;
    if (matchFrom(entry.nodes, 0, typed, 0, s)) {
      suffix = s;
      return &entry;
    }
  }
  return nullptr;
}

}  // namespace qdxsim::scpi
