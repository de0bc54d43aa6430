#include "base/platform/mapped_file.h"

#include <sys/mman.h>

#include "base/platform/file.h"
#include "base/platform/file_faults_for_test.h"

namespace zo_base {

MappedFile::~MappedFile() {
  Unmap();
}

bool MappedFile::Map(const std::string& path, uint32_t size_bytes) {
  Unmap();
  File file(path, File::Mode::kReadWrite);
  const auto had_bytes = file.Size();
  was_empty_ = had_bytes == 0U;
  void* view = MAP_FAILED;
  if (had_bytes && file.ReserveBlocks(size_bytes) && !FileCallFails()) {
    view = ::mmap(nullptr, size_bytes, PROT_READ | PROT_WRITE, MAP_SHARED,
                  static_cast<int>(file.handle()), 0);
  }
  if (view == MAP_FAILED) {
    if (was_empty_) {
      RemoveFile(path);  // frees the blocks that it got on a full disk
    }
    return false;
  }
  view_ = static_cast<char*>(view);
  size_bytes_ = size_bytes;
  return true;
}

void MappedFile::Unmap() {
  if (view_ != nullptr) {
    ::munmap(view_, size_bytes_);
    view_ = nullptr;
  }
}

void MappedFile::FlushToDisk() {
  if (view_ != nullptr && !FileCallFails()) {
    ::msync(view_, size_bytes_, MS_SYNC);
  }
}

}  // namespace zo_base
