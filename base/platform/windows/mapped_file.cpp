#include "base/platform/mapped_file.h"

#include <windows.h>

#include "base/platform/file.h"
#include "base/platform/file_faults_for_test.h"
#include "base/platform/windows/file_handle.h"
#include "base/platform/windows/wide_path.h"

namespace zo_base {
namespace {

// Returns null on failure. The view keeps the mapping.
char* MapView(const File& file, uint32_t size_bytes) {
  const HANDLE mapping =
      CreateFileMappingW(HandleOf(file), nullptr, PAGE_READWRITE, 0, size_bytes, nullptr);
  if (mapping == nullptr) {
    return nullptr;
  }
  void* const view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, size_bytes);
  CloseHandle(mapping);
  return static_cast<char*>(view);
}

}  // namespace

MappedFile::~MappedFile() {
  Unmap();
}

bool MappedFile::Map(const std::string& path, uint32_t size_bytes) {
  Unmap();
  path_ = path;
  File file(path, File::Mode::kReadWrite);
  const auto had_bytes = file.Size();
  was_empty_ = had_bytes == 0U;
  if (had_bytes && file.ReserveBlocks(size_bytes) && !FileCallFails()) {
    view_ = MapView(file, size_bytes);
  }
  if (view_ == nullptr) {
    if (was_empty_) {
      RemoveFile(path);  // frees the blocks that it got on a full disk
    }
    return false;
  }
  size_bytes_ = size_bytes;
  return true;
}

void MappedFile::Unmap() {
  if (view_ != nullptr) {
    UnmapViewOfFile(view_);
    view_ = nullptr;
  }
}

// Opens the file only for this: it takes far less time than a flush does, and an open handle would
// stay as long as the mapping.
void MappedFile::FlushToDisk() {
  if (view_ == nullptr || FileCallFails()) {
    return;
  }
  FlushViewOfFile(view_, size_bytes_);  // to the system's cache
  const HANDLE file = CreateFileW(WidePath(path_).c_str(), GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    FlushFileBuffers(file);
    CloseHandle(file);
  }
}

}  // namespace zo_base
