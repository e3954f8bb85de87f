#include "attributes/node.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>

namespace veqdx::attr {

namespace {
// Top of the pending stacks when nothing is pending: callers may read it, and a stray write
// lands in a per-thread scratch string instead of corrupting another node.
std::string& EmptyPending() noexcept {
  thread_local std::string scratch;
  scratch.clear();
  return scratch;
}
}  // namespace

CNode::CNode() = default;

CNode::~CNode() { DetachChildren(); }

bool CNode::IsInitialized() const { return false; }
bool CNode::GetCache() const { return false; }
bool CNode::GetInterchangeCheck() const { return false; }
bool CNode::GetQueryInstrumentStatus() const { return false; }
bool CNode::GetRangeCheck() const { return false; }
bool CNode::GetRecordCoercions() const { return false; }
bool CNode::GetSimulate() const { return false; }

CNode* CNode::GetRoot() noexcept {
  CNode* node = this;
  while (CNode* up = node->GetParent()) node = up;
  return node;
}

const CNode* CNode::GetRoot() const noexcept { return const_cast<CNode*>(this)->GetRoot(); }

std::string CNode::GetFullName() const { return {}; }

CNode* CNode::AddChild(std::string name, std::unique_ptr<CNode> child) {
  if (!child || child->GetParent() != nullptr || child.get() == this) return nullptr;
  CNode* raw = child.get();
  {
    std::lock_guard<std::mutex> maps(mapsMutex_);
    if (children_.find(std::string_view(name)) != children_.end()) return nullptr;
    raw->name_ = name;
    children_.emplace(std::move(name), std::move(child));
  }
  std::lock_guard<std::recursive_mutex> childLock(raw->mutex_);
  raw->parent_.store(this, std::memory_order_release);
  return raw;
}

CNode* CNode::FindChild(std::string_view name) const {
  std::lock_guard<std::mutex> maps(mapsMutex_);
  auto it = children_.find(name);
  return it == children_.end() ? nullptr : it->second.get();
}

std::size_t CNode::ChildCount() const {
  std::lock_guard<std::mutex> maps(mapsMutex_);
  return children_.size();
}

void CNode::ForEachChild(const std::function<void(CNode&)>& fn) const {
  // Snapshot first: `fn` may take locks or look at this node's maps.
  std::vector<CNode*> snapshot;
  {
    std::lock_guard<std::mutex> maps(mapsMutex_);
    snapshot.reserve(children_.size());
    for (const auto& [name, child] : children_) snapshot.push_back(child.get());
  }
  for (CNode* child : snapshot) fn(*child);
}

void CNode::DetachFromParent() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  parent_.store(nullptr, std::memory_order_release);
}

void CNode::DetachChildren() {
  ForEachChild([](CNode& child) { child.DetachFromParent(); });
}

void CNode::RemoveAllChildren() {
  DetachChildren();
  ChildMap doomed;
  {
    std::lock_guard<std::mutex> maps(mapsMutex_);
    doomed.swap(children_);
  }
  // Destroyed here, outside mapsMutex_, since a child's destructor detaches its own children.
}

void CNode::OnReset() { InvalidateOwnCache(); }
void CNode::OnResetWithDefaults() { InvalidateOwnCache(); }

void CNode::PushPendingCommand(std::string command) {
  pendingCommands_.push_back(std::move(command));
}
void CNode::PopPendingCommand() noexcept {
  if (!pendingCommands_.empty()) pendingCommands_.pop_back();
}
std::string& CNode::PendingCommand() noexcept {
  return pendingCommands_.empty() ? EmptyPending() : pendingCommands_.back();
}
void CNode::PushPendingReadFormat(std::string format) {
  pendingReadFormats_.push_back(std::move(format));
}
void CNode::PopPendingReadFormat() noexcept {
  if (!pendingReadFormats_.empty()) pendingReadFormats_.pop_back();
}
std::string& CNode::PendingReadFormat() noexcept {
  return pendingReadFormats_.empty() ? EmptyPending() : pendingReadFormats_.back();
}

// ---- cache ----

void CNode::ReportTypeClash([[maybe_unused]] std::string_view key) {
#ifndef NDEBUG
  std::fprintf(stderr, "veqdx: cache key '%.*s' used with two different value types\n",
               static_cast<int>(key.size()), key.data());
  std::abort();
#endif
}

CCacheEntryBase* CNode::CreateEntry(const CCacheKey& key, EntryPtr fresh) noexcept {
  try {
    std::lock_guard<std::mutex> maps(mapsMutex_);
    auto [it, inserted] = cacheMap_.try_emplace(std::string(key.Text()), std::move(fresh));
    (void)inserted;
    return it->second.get();
  } catch (...) {
    return nullptr;
  }
}

CCacheEntryBase* CNode::ClashEntry(const CCacheKey& key, const void* tag,
                                   EntryPtr fresh) noexcept {
  try {
    std::lock_guard<std::mutex> maps(mapsMutex_);
    auto [it, inserted] =
        clashMap_.try_emplace(std::make_pair(std::string(key.Text()), tag), std::move(fresh));
    (void)inserted;
    return it->second.get();
  } catch (...) {
    return nullptr;
  }
}

CCacheEntryBase* CNode::FindOwnEntry(std::string_view key) const {
  std::lock_guard<std::mutex> maps(mapsMutex_);
  auto it = cacheMap_.find(key);
  return it == cacheMap_.end() ? nullptr : it->second.get();
}

CCacheEntryBase* CNode::FindCacheEntry(std::string_view path) const {
  const std::size_t firstDot = path.find('.');
  if (firstDot == std::string_view::npos) return nullptr;
  if (path.find('.', firstDot + 1) == std::string_view::npos) return FindOwnEntry(path);

  const std::string_view head = path.substr(0, firstDot);
  const std::string_view rest = path.substr(firstDot + 1);
  if (head == "Driver") {
    // A parent owns its children, so it outlives this node; no node lock is needed (and
    // taking the parent's would invert the tree's lock order).
    const CNode* parent = GetParent();
    return parent ? parent->FindCacheEntry(rest) : nullptr;
  }
  const CNode* child = FindChild(head);
  return child ? child->FindCacheEntry(rest) : nullptr;
}

void CNode::InvalidateOwnCache() {
  std::lock_guard<std::mutex> maps(mapsMutex_);
  for (auto& [key, entry] : cacheMap_) entry->Invalidate();
  for (auto& [key, entry] : clashMap_) entry->Invalidate();
}

void CNode::InvalidateCache() {
  InvalidateOwnCache();
  ForEachChild([](CNode& child) { child.InvalidateCache(); });
}

std::size_t CNode::CacheSize() const {
  std::lock_guard<std::mutex> maps(mapsMutex_);
  return cacheMap_.size();
}

// ---- CChildNode ----

// No lock taken here: these run on every property access, and the caller's operation already
// holds this node's lock, which is what keeps a detach from completing under its feet.
bool CChildNode::AskRoot(bool (CNode::*query)() const) const {
  if (GetParent() == nullptr) return false;
  return (GetRoot()->*query)();
}

bool CChildNode::IsInitialized() const { return GetParent() != nullptr; }
bool CChildNode::GetCache() const { return AskRoot(&CNode::GetCache); }
bool CChildNode::GetInterchangeCheck() const { return AskRoot(&CNode::GetInterchangeCheck); }
bool CChildNode::GetQueryInstrumentStatus() const {
  return AskRoot(&CNode::GetQueryInstrumentStatus);
}
bool CChildNode::GetRangeCheck() const { return AskRoot(&CNode::GetRangeCheck); }
bool CChildNode::GetRecordCoercions() const { return AskRoot(&CNode::GetRecordCoercions); }
bool CChildNode::GetSimulate() const { return AskRoot(&CNode::GetSimulate); }

// Names take no node lock: a parent outlives its children, and the names never change once
// attached, so a child asking its parent cannot deadlock against the parent's operations.
std::string CChildNode::GetFullName() const {
  const CNode* parent = GetParent();
  std::string prefix = parent ? parent->GetFullName() : std::string();
  if (!prefix.empty()) prefix += '.';
  return prefix + GetName();
}

// ---- CRepCap ----

CRepCap::CRepCap(std::string repCapName, std::string physicalName, std::int32_t index)
    : repCapName_(std::move(repCapName)), physicalName_(std::move(physicalName)), index_(index) {}

std::string CRepCap::GetFullName() const {
  // fullNameMutex_ is only ever taken child-before-parent, so the chain up cannot cycle.
  std::lock_guard<std::mutex> lock(fullNameMutex_);
  if (!fullNameBuilt_) {
    const CNode* parent = GetParent();
    std::string name = parent ? parent->GetFullName() : std::string();
    if (!name.empty()) name += '.';
    name += repCapName_;
    name += '[';
    name += physicalName_;
    name += ']';
    fullName_ = std::move(name);
    fullNameBuilt_ = true;
  }
  return fullName_;
}

// ---- CPendingScope ----

CPendingScope::CPendingScope(CNode& node, std::string command, std::string readFormat)
    : node_(node) {
  node_.PushPendingCommand(std::move(command));
  try {
    node_.PushPendingReadFormat(std::move(readFormat));
  } catch (...) {
    node_.PopPendingCommand();
    throw;
  }
}

CPendingScope::~CPendingScope() {
  node_.PopPendingReadFormat();
  node_.PopPendingCommand();
}

}  // namespace veqdx::attr
