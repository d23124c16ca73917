// The last elements of a stream, by the number of their arrival. Room for all is made at the start.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zuvdr {

template <class T>
class Ring {
 public:
  explicit Ring(std::size_t most) : items_(most) {}

  // The oldest goes when there is no room.
  void push(const T& item) {
    if (end_ - begin_ == items_.size()) ++begin_;
    items_[end_ % items_.size()] = item;
    ++end_;
  }
  void drop_before(std::uint64_t number) {
    if (number > begin_) begin_ = number < end_ ? number : end_;
  }
  void clear() { begin_ = end_; }

  std::uint64_t begin() const { return begin_; }
  std::uint64_t end() const { return end_; }
  std::size_t size() const { return static_cast<std::size_t>(end_ - begin_); }
  bool empty() const { return begin_ == end_; }
  const T& operator[](std::uint64_t number) const { return items_[number % items_.size()]; }
  const T& back() const { return (*this)[end_ - 1]; }
  const T& front() const { return (*this)[begin_]; }

 private:
  std::vector<T> items_;
  std::uint64_t begin_ = 0;
  std::uint64_t end_ = 0;
};

}  // namespace zuvdr
