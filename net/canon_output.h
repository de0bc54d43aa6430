#pragma once

#include <cstdint>
#include <string>

namespace url {

// A growing buffer for short texts, written byte by byte. The derived class owns the bytes.
// Threads: one at a time.
// Owner:   the stack of the printing function.
// Errors:  none are reported. A byte that would make the capacity reach 1 GiB is dropped.
template <typename T>
class CanonOutputT {
 public:
  CanonOutputT() = default;
  CanonOutputT(const CanonOutputT&) = delete;
  CanonOutputT& operator=(const CanonOutputT&) = delete;
  virtual ~CanonOutputT() = default;

  // Sets the capacity to `new_len`, keeps the bytes, and sets `buffer` and `buffer_len`.
  virtual void Resize(int32_t new_len) = 0;

  void Append(T byte) {
    if (cur_len >= buffer_len && !Grow()) {
      return;
    }
    buffer[cur_len++] = byte;
  }

  [[nodiscard]] const T* data() const { return buffer; }
  [[nodiscard]] int32_t length() const { return cur_len; }
  [[nodiscard]] int32_t capacity() const { return buffer_len; }

 protected:
  T* buffer = nullptr;
  int32_t buffer_len = 0;
  int32_t cur_len = 0;

 private:
  static constexpr int32_t kFirstCapacity = 16;
  static constexpr int32_t kCapacityLimit = 1 << 30;

  // Doubles the capacity until one more byte fits.
  bool Grow() {
    int32_t new_len = buffer_len == 0 ? kFirstCapacity : buffer_len;
    do {
      if (new_len >= kCapacityLimit / 2) {
        return false;
      }
      new_len *= 2;
    } while (new_len <= cur_len);
    Resize(new_len);
    return true;
  }
};

// Appends to a string, which must outlive this object. Until Complete() the string's size is the
// capacity, and no other code may use the string.
class StdStringCanonOutput : public CanonOutputT<char> {
 public:
  explicit StdStringCanonOutput(std::string& text);

  void Resize(int32_t new_len) override;

  // Cuts the string to the written bytes. Requires: called once, after the last Append.
  void Complete();

 private:
  std::string& text_;
};

}  // namespace url
