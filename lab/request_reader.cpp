#include "lab/request_reader.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <cstdint>
#include <utility>
#include <vector>

namespace lab {
namespace {

namespace http = boost::beast::http;

constexpr size_t kMaxHeadBytes = size_t{64} << 10;
constexpr size_t kMaxBodyBytes = size_t{64} << 20;

// Splits a complete head into its fields, byte for byte.
std::vector<HeaderField> SplitFields(const std::string& head) {
  std::vector<HeaderField> fields;
  size_t begin = head.find("\r\n") + 2;
  for (size_t end = head.find("\r\n", begin); end != std::string::npos && end > begin;
       begin = end + 2, end = head.find("\r\n", begin)) {
    const std::string line = head.substr(begin, end - begin);
    const size_t colon = line.find(':');
    if (colon != std::string::npos) {
      const size_t value = line.find_first_not_of(" \t", colon + 1);
      fields.emplace_back(line.substr(0, colon),
                          value == std::string::npos ? "" : line.substr(value));
    }
  }
  return fields;
}

}  // namespace

bool RequestReader::IsOverfull() const {
  return inbox_.size() > kMaxBodyBytes;
}

RequestReader::Result RequestReader::Next(Request& request) {
  if (!parser_.has_value()) {
    const size_t end = inbox_.find("\r\n\r\n");
    if (end == std::string::npos) {
      return inbox_.size() > kMaxHeadBytes ? Result::kMalformed : Result::kIncomplete;
    }
    BeginParser(end + 4);
  }
  boost::system::error_code error;
  while (!error && !inbox_.empty() && !parser_->is_done()) {
    inbox_.erase(0, parser_->put(boost::asio::buffer(inbox_), error));
  }
  if (parser_->is_done()) {
    Finish(request);
    return Result::kRequest;
  }
  return error && error != http::error::need_more ? Result::kMalformed : Result::kIncomplete;
}

std::string RequestReader::TakeMalformed() {
  std::string bytes = parser_.has_value() ? std::move(raw_head_) : std::move(inbox_);
  parser_.reset();
  inbox_.clear();
  return bytes;
}

void RequestReader::BeginParser(size_t head_bytes) {
  parser_.emplace();
  parser_->eager(true);
  parser_->header_limit(static_cast<uint32_t>(kMaxHeadBytes));
  parser_->body_limit(kMaxBodyBytes);
  raw_head_ = inbox_.substr(0, head_bytes);
}

void RequestReader::Finish(Request& request) {
  const auto& message = parser_->get();
  request.method = std::string(message.method_string());
  request.target = std::string(message.target());
  const size_t mark = std::min(request.target.find('?'), request.target.size());
  request.path = request.target.substr(0, mark);
  request.query = mark < request.target.size() ? request.target.substr(mark + 1) : "";
  request.headers = SplitFields(raw_head_);
  request.raw_head = std::move(raw_head_);
  request.body = message.body();
  keep_alive_ = message.keep_alive();
  parser_.reset();
}

}  // namespace lab
