#include "net/canon_output.h"

namespace url {

StdStringCanonOutput::StdStringCanonOutput(std::string& text) : text_(text) {
  cur_len = static_cast<int32_t>(text.size());
  text.resize(text.capacity());
  buffer = text.empty() ? nullptr : text.data();
  buffer_len = static_cast<int32_t>(text.size());
}

void StdStringCanonOutput::Resize(int32_t new_len) {
  text_.resize(static_cast<size_t>(new_len));
  buffer = text_.empty() ? nullptr : text_.data();
  buffer_len = new_len;
}

void StdStringCanonOutput::Complete() {
  text_.resize(static_cast<size_t>(cur_len));
  buffer_len = cur_len;
}

}  // namespace url
