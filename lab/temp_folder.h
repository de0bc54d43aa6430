#pragma once

#include <string>

namespace lab {

// Makes a new folder in `parent`, whose name begins with `prefix`, and returns its path without a
// slash at the end.
// Errors: std::runtime_error if none can be made.
std::string MakeTempFolder(const std::string& parent, const std::string& prefix);

// The system's folder for temporary files.
std::string SystemTempFolder();

// A new folder, removed with its content when the object ends.
// Errors: as those of MakeTempFolder.
class TempFolder {
 public:
  TempFolder() : TempFolder(SystemTempFolder()) {}
  explicit TempFolder(const std::string& parent) : path_(MakeTempFolder(parent, "sturdy_test_")) {}
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // Without a slash at its end.
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  const std::string path_;
};

}  // namespace lab
