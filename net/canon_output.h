#pragma once

#include <cstdint>
#include <string>

namespace url {

// A growing buffer that text is written to byte by byte; where the bytes lie is the derived
// class's. Written for the short texts of this layer.
// Threads: one at a time. Owner: lives on the stack of who prints.
// Errors:  a byte that would let the capacity reach 1 GiB is dropped without a word.
template <typename T>
class CanonOutputT {
 public:
  CanonOutputT() = default;
  CanonOutputT(const CanonOutputT&) = delete;
  CanonOutputT& operator=(const CanonOutputT&) = delete;
  virtual ~CanonOutputT() = default;

  // Gives the buffer a capacity of `new_len`, keeping its bytes, and sets both fields.
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

// Appends to the text of a string, which lives longer than this object. While this object
// works, the string's size is the capacity: Complete() cuts it to what was written, and nobody
// else may touch the string before that.
class StdStringCanonOutput : public CanonOutputT<char> {
 public:
  explicit StdStringCanonOutput(std::string& text);

  void Resize(int32_t new_len) override;

  // Ends the writing. Requires: called once, after the last Append.
  void Complete();

 private:
  std::string& text_;
};

}  // namespace url
