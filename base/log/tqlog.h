#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>

#include "base/log/log_file.h"
#include "base/log/log_level.h"
#include "base/log/log_stream.h"
#include "base/log/source_location.h"
#include "base/process/singleton.h"
#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"

namespace zo_base {

// Writes finished lines.
// Threads: any.
// Errors:  none are reported, since logging can't report on itself.
class ITQlogWriter {
 public:
  // Drops the text if its level is above the current one.
  virtual void Write(int level, const std::string& text) = 0;
  virtual ~ITQlogWriter() = default;
  // Creates the log's folder and takes over what an earlier run left. 0 selects a default size.
  virtual void SetLogFile(const std::string& path, uint32_t max_size, uint32_t buffer_size) = 0;
  virtual std::string GetLogFile() = 0;
  virtual void SetLevel(int level) = 0;
  virtual int GetLevel() = 0;
  virtual void Flush() = 0;
  virtual void Close() = 0;
};

// The logger. The tag `T` gives each component its own logger.
// Threads: any; path and level may change while other threads log.
// Owner:   the singleton below, or a test.
template <typename T>
class TQLogImplBase : public ITQlogWriter {
 public:
  TQLogImplBase() = default;
  TQLogImplBase(const TQLogImplBase&) = delete;
  TQLogImplBase& operator=(const TQLogImplBase&) = delete;

  void Write(int level, const std::string& text) override {
    if (Takes(level)) {
      log_file_.Write(text);
    }
  }

  // Returns whether Write writes a text of this level.
  [[nodiscard]] bool Takes(int level) const {
    return level <= level_.load(std::memory_order_relaxed) &&
           has_path_.load(std::memory_order_relaxed);
  }

  void SetLogFile(const std::string& path, uint32_t max_size, uint32_t buffer_size) override;

  std::string GetLogFile() override {
    const MutexLock lock(mutex_);
    return path_;
  }

  void SetLevel(int level) override { level_ = level; }
  int GetLevel() override { return level_; }
  void Flush() override { log_file_.Flush(); }
  void Close() override { log_file_.Close(); }

 private:
  LogFile log_file_;
  Mutex mutex_;
  std::string path_ ZO_GUARDED_BY(mutex_);  // of the last SetLogFile
  std::atomic<bool> has_path_{false};       // path_ isn't empty
  std::atomic<int32_t> level_{LV_KER};
};

// Returns the folder of a log's path with its last separator; empty without a separator, in the
// root, or without a file name.
std::string LogFolder(const std::string& path);
// Creates that folder if it is absent. A failure shows when the files in it can't be opened.
void MakeLogFolder(const std::string& path);

template <typename T>
void TQLogImplBase<T>::SetLogFile(const std::string& path, uint32_t max_size,
                                  uint32_t buffer_size) {
  {
    const MutexLock lock(mutex_);
    path_ = path;
    has_path_ = !path.empty();
  }
  MakeLogFolder(path);
  try {
    log_file_.Init(path, max_size, buffer_size);
  } catch (const std::out_of_range&) {
    // The buffer file was too short for its header and is deleted by now: this try makes a new one.
    log_file_.Init(path, max_size, buffer_size);
  }
}

// The process-wide logger of a component. Exists while an environment does.
template <typename T>
class TQLogImpl : public TQLogImplBase<T>, public Singleton<TQLogImpl<T>, T, 1> {};

// Returns false if the component has no logger now, or if its logger drops this level.
template <typename T>
bool IsLogged(int level) {
  const TQLogImpl<T>* const logger = TQLogImpl<T>::Current();
  return logger != nullptr && logger->Takes(level);
}

// Makes a log statement an expression of type void, so that ZO_LOG can leave it out.
// `&` binds weaker than `<<`.
struct DiscardLogHelper {
  template <typename Helper>
  void operator&(const Helper& /*helper*/) const {}
};

// A text between lines of dashes: a body in the log. Refers to its texts.
struct Framed {
  std::string_view text;
  std::string_view caption{};  // before the text, with its line end
};

// One log statement: the constructor writes the line's prefix, operator<< the message, and the
// destructor ends the line and passes it to the logger.
// Threads: one.
// Owner:   a temporary of the statement.
class TQLogHelperBase {
 public:
  TQLogHelperBase(const TQLogHelperBase&) = delete;
  TQLogHelperBase& operator=(const TQLogHelperBase&) = delete;

 protected:
  TQLogHelperBase(int level, const SourceLocation& location);
  ~TQLogHelperBase() = default;

  // Appends "file:line", or nothing without a function or a line.
  void AppendLocation(const SourceLocation& location);
  void AppendFramed(const Framed& framed);

  LogStream stream_;
  const int32_t level_;
};

template <typename T>
class TQLogHelper : private TQLogHelperBase {
 public:
  // A null writer selects the component's logger; without a logger the line is dropped.
  TQLogHelper(int level, const SourceLocation& location, ITQlogWriter* writer = nullptr)
      : TQLogHelperBase(level, location), writer_(writer) {}

  virtual ~TQLogHelper() {
    stream_.Append("\n");
    try {
      ITQlogWriter* const writer = writer_ != nullptr ? writer_ : TQLogImpl<T>::Current();
      if (writer != nullptr) {
        writer->Write(level_, stream_.text());
      }
    } catch (const std::exception&) {
      // No memory: the line is lost, but the statement's caller continues.
      return;
    }
  }

  TQLogHelper& operator<<(const std::string& text) {
    stream_.Append(text);
    return *this;
  }
  TQLogHelper& operator<<(const char* text) {
    stream_.AppendText(text);
    return *this;
  }
  TQLogHelper& operator<<(bool value) {
    stream_.AppendBool(value);
    return *this;
  }
  TQLogHelper& operator<<(const Framed& framed) {
    AppendFramed(framed);
    return *this;
  }
  template <LogNumber N>
  TQLogHelper& operator<<(N value) {
    stream_.AppendNumber(value);
    return *this;
  }

 private:
  ITQlogWriter* const writer_;
};

}  // namespace zo_base
