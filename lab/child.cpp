#include "lab/child.h"

namespace lab {

std::string Child::ReadLine() {
  return ReadTo('\n');
}

std::string Child::ReadLineWith(const std::string& text) {
  std::string line = ReadLine();
  while (!line.empty() && line.find(text) == std::string::npos) {
    line = ReadLine();
  }
  return line;
}

std::string Child::ReadRest() {
  return ReadTo(EOF);
}

std::string Child::ReadTo(int end) {
  std::string text;
  if (output_ == nullptr) {
    return text;
  }
  for (int byte = std::fgetc(output_); byte != EOF && byte != end; byte = std::fgetc(output_)) {
    text += static_cast<char>(byte);
  }
  return text;
}

}  // namespace lab
