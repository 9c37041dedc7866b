// Values that many rows share, stored once and counted; a value nobody uses any more is freed.  Key is a view
// of Value: it compares and hashes by content, and Value's Key() refers to the value's own storage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>
#include <vector>

namespace korvane::traplist {

template <class Value, class Key, class KeyHash>
class SharedValues {
 public:
  // The number of the value, which is stored unless it is there.
  std::uint32_t Add(const Key& key) {
    // Traps of one system and kind come in rows.
    if (last_ < slots_.size() && slots_[last_].Users > 0 && slots_[last_].Shared.Key() == key) {
      ++slots_[last_].Users;
      return last_;
    }
    const auto found = numbers_.find(key);
    last_ = found != numbers_.end() ? found->second : Store(key);
    ++slots_[last_].Users;
    return last_;
  }

  void Release(std::uint32_t number) {
    Slot& slot = slots_[number];
    if (--slot.Users > 0) {
      return;
    }
    numbers_.erase(slot.Shared.Key());
    slot.Shared = Value();
    free_.push_back(number);
  }

  const Value& At(std::uint32_t number) const { return slots_[number].Shared; }
  std::size_t Bound() const { return slots_.size(); }

 private:
  struct Slot {
    Value Shared;
    std::uint32_t Users = 0;
  };

  std::uint32_t Store(const Key& key) {
    std::uint32_t number = static_cast<std::uint32_t>(slots_.size());
    if (free_.empty()) {
      slots_.emplace_back();
    } else {
      number = free_.back();
      free_.pop_back();
    }
    slots_[number].Shared = Value(key);
    numbers_.emplace(slots_[number].Shared.Key(), number);
    return number;
  }

  std::deque<Slot> slots_;  // a deque: keys refer to the values, which must not move
  std::vector<std::uint32_t> free_;
  std::unordered_map<Key, std::uint32_t, KeyHash> numbers_;
  std::uint32_t last_ = UINT32_MAX;
};

}  // namespace korvane::traplist
