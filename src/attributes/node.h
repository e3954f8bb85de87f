// The driver object is a tree of nodes: the session root (CDriver) and, below it, the outputs
// (CRepCap instances of the "Output" repeated capability). Each node has its own re-entrant lock,
// its own attribute cache and its own pending-command stacks.
//
// Lock order: a thread may take a child's lock while it holds its parent's, never the other way
// round. The root's flag queries (GetCache, GetSimulate, ...) are called from children under the
// child's lock, so the root must answer them without taking its own lock (atomics serve).
//
// Lifetime: a node owns its children; a child points at its parent only while attached.
// Detaching clears that pointer under the child's lock, so an operation that holds the child's
// lock and has seen a parent can use it until it releases the lock. A root derived from CNode
// must call DetachChildren() at the start of its own destructor (or at Close), while its
// overrides are still alive; ~CNode does it again as a safety net.
#pragma once
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "attributes/cache.h"
#include "attributes/key_hash.h"

namespace veqdx::attr {

class CNode {
 public:
  CNode();
  virtual ~CNode();
  CNode(const CNode&) = delete;
  CNode& operator=(const CNode&) = delete;

  // --- lock ---
  std::recursive_mutex& Mutex() const noexcept { return mutex_; }
  [[nodiscard]] std::unique_lock<std::recursive_mutex> Lock() const {
    return std::unique_lock<std::recursive_mutex>(mutex_);
  }

  // --- session-wide queries (the root answers from its flags; a bare CNode says false) ---
  virtual bool IsInitialized() const;
  virtual bool GetCache() const;
  virtual bool GetInterchangeCheck() const;
  virtual bool GetQueryInstrumentStatus() const;
  virtual bool GetRangeCheck() const;
  virtual bool GetRecordCoercions() const;
  virtual bool GetSimulate() const;

  // The node at the top of the parent chain (this node when it has no parent). Stable only
  // while the caller holds this node's lock.
  CNode* GetRoot() noexcept;
  const CNode* GetRoot() const noexcept;
  CNode* GetParent() const noexcept { return parent_.load(std::memory_order_acquire); }
  // Dotted path of the node: empty at the root.
  virtual std::string GetFullName() const;
  // The name under which the parent holds this node (empty at the root).
  const std::string& GetName() const noexcept { return name_; }

  // --- children ---
  // Takes ownership and attaches the child; returns it, or nullptr when `child` is null, is
  // already attached somewhere, or the name is taken.
  CNode* AddChild(std::string name, std::unique_ptr<CNode> child);
  CNode* FindChild(std::string_view name) const;
  std::size_t ChildCount() const;
  // Calls `fn` on every child (no particular order).
  void ForEachChild(const std::function<void(CNode&)>& fn) const;
  // Detaches every child (each under its own lock): they stay owned by this node but answer
  // every session-wide query with false and IsInitialized with false. Idempotent.
  void DetachChildren();
  // Detaches, then destroys the children. Only when no operation on them can be in progress
  // (session close before a new initialization).
  void RemoveAllChildren();

  // --- reset hooks, called by the utility operations on every node ---
  // Default: forget this node's cached instrument state (its own entries only).
  virtual void OnReset();
  virtual void OnResetWithDefaults();

  // --- pending command and read format of the operation in progress ---
  // Stacks, so that a nested call keeps its own; touched only under the node's lock.
  void PushPendingCommand(std::string command);
  void PopPendingCommand() noexcept;
  std::string& PendingCommand() noexcept;  // top, or an empty string when none
  void PushPendingReadFormat(std::string format);
  void PopPendingReadFormat() noexcept;
  std::string& PendingReadFormat() noexcept;
  std::size_t PendingDepth() const noexcept { return pendingCommands_.size(); }

  // --- attribute cache ---
  // The typed entry for `key` in this node's own map, created invalid (zero) when absent.
  // The caller holds this node's lock. Returns nullptr only when memory is exhausted (report
  // out-of-memory). Entries are never removed, so the pointer stays valid for the node's life.
  // A key already used with another value type is a programming error: debug builds abort
  // with a message; release builds hand out a separate entry for that (key, type) pair, so two
  // types never alias one value.
  template <class T>
  CCacheEntry<T>* GetCacheEntry(const CCacheKey& key) noexcept;
  template <class T>
  CCacheEntry<T>* GetCacheEntry(std::string_view key) noexcept {
    return GetCacheEntry<T>(CCacheKey(key));
  }
  // Finds without creating; nullptr when absent. "Interface.Property" names an entry of this
  // node; with more leading parts, "Driver" continues in the parent and any other part in the
  // child of that name. Used for invalidation only.
  CCacheEntryBase* FindCacheEntry(std::string_view path) const;
  // Invalidates this node's entries, then those of every descendant.
  void InvalidateCache();
  // Invalidates this node's own entries only.
  void InvalidateOwnCache();
  // Number of entries in this node's own map (diagnostics and tests).
  std::size_t CacheSize() const;

 private:
  using EntryPtr = std::unique_ptr<CCacheEntryBase>;
  using CacheMap = std::unordered_map<std::string, EntryPtr, KeyTextHash, KeyTextEqual>;
  using ChildMap = std::unordered_map<std::string, std::unique_ptr<CNode>, KeyTextHash,
                                      KeyTextEqual>;

  CCacheEntryBase* FindOwnEntry(std::string_view key) const;
  CCacheEntryBase* CreateEntry(const CCacheKey& key, EntryPtr fresh) noexcept;
  CCacheEntryBase* ClashEntry(const CCacheKey& key, const void* tag, EntryPtr fresh) noexcept;
  static void ReportTypeClash(std::string_view key);
  void DetachFromParent();

  mutable std::recursive_mutex mutex_;
  // Guards the structure of cacheMap_, clashMap_ and children_ against readers from other
  // nodes (FindCacheEntry, InvalidateCache). A leaf lock: nothing else is taken while held.
  // The node's own look-ups run under mutex_ and skip it: readers never race a reader, and
  // every insertion happens under mutex_ with mapsMutex_ held.
  mutable std::mutex mapsMutex_;
  std::atomic<CNode*> parent_{nullptr};
  std::string name_;
  CacheMap cacheMap_;
  std::map<std::pair<std::string, const void*>, EntryPtr> clashMap_;
  ChildMap children_;
  std::vector<std::string> pendingCommands_;
  std::vector<std::string> pendingReadFormats_;
};

// A node below the root: its session-wide queries ask the root while attached and answer false
// (IsInitialized included) once detached. They take no lock themselves (they sit on every
// property access); call them under this node's lock, as every operation does, whenever the
// session may be closing concurrently.
class CChildNode : public CNode {
 public:
  bool IsInitialized() const override;
  bool GetCache() const override;
  bool GetInterchangeCheck() const override;
  bool GetQueryInstrumentStatus() const override;
  bool GetRangeCheck() const override;
  bool GetRecordCoercions() const override;
  bool GetSimulate() const override;
  // Parent's full name, "." when that is not empty, then this node's name.
  std::string GetFullName() const override;

 private:
  bool AskRoot(bool (CNode::*query)() const) const;
};

// One instance of a repeated capability ("Output" here).
class CRepCap : public CChildNode {
 public:
  CRepCap(std::string repCapName, std::string physicalName, std::int32_t index);

  const std::string& RepCapName() const noexcept { return repCapName_; }
  const std::string& PhysicalName() const noexcept { return physicalName_; }
  // The instrument channel number that ":INST:NSEL %d" selects.
  std::int32_t Index() const noexcept { return index_; }
  // Built on first use and kept: parent's full name, "." when that is not empty, then
  // repeated-capability name and "[physical name]", e.g. "Output[Output1]".
  std::string GetFullName() const override;

 private:
  std::string repCapName_;
  std::string physicalName_;
  std::int32_t index_;
  mutable std::mutex fullNameMutex_;
  mutable bool fullNameBuilt_ = false;
  mutable std::string fullName_;
};

// Pushes a pending command and read format for the duration of a scope (popped on every exit).
class CPendingScope {
 public:
  explicit CPendingScope(CNode& node, std::string command = {}, std::string readFormat = {});
  ~CPendingScope();
  CPendingScope(const CPendingScope&) = delete;
  CPendingScope& operator=(const CPendingScope&) = delete;
  std::string& Command() noexcept { return node_.PendingCommand(); }
  std::string& ReadFormat() noexcept { return node_.PendingReadFormat(); }

 private:
  CNode& node_;
};

// ---- template implementation ----

template <class T>
CCacheEntry<T>* CNode::GetCacheEntry(const CCacheKey& key) noexcept {
  using Entry = CCacheEntry<T>;
  CCacheEntryBase* found = nullptr;
  if (auto it = cacheMap_.find(key); it != cacheMap_.end()) {
    found = it->second.get();
    if (found->TypeTag() == Entry::Tag()) return static_cast<Entry*>(found);
    ReportTypeClash(key.Text());
  }
  EntryPtr fresh;
  try {
    fresh = std::make_unique<Entry>();
  } catch (...) {
    return nullptr;
  }
  CCacheEntryBase* made = found ? ClashEntry(key, Entry::Tag(), std::move(fresh))
                                : CreateEntry(key, std::move(fresh));
  return static_cast<Entry*>(made);
}

}  // namespace veqdx::attr
