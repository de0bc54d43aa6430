#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "base/built_in_values.h"
#include "base/log/log_format.h"
#include "base/platform/file.h"
#include "lab/utf8_path.h"
#include "sturdy/sturdy.h"
#include "tools/history/read_history.h"
#include "tools/history/redact_history.h"
#include "tools/history/why_words.h"
#include "tools/log_reader/log_reader.h"
#include "tools/platform/files.h"
#include "tools/platform/program.h"
#include "tools/state/read_state.h"
#include "tools/state/redact_state.h"
#include "tools/state/state_words.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/find_log.h"
#include "tools/sturdyctl/usage_error.h"
#include "tools/timeline/page.h"

namespace sturdyctl {

namespace {

namespace fs = std::filesystem;

// The folder that a bundle is written to.
// Threads: one.
// Errors:  UsageError if it exists and isn't an empty folder; std::runtime_error if a file can't be
//          written or is there already.
class NewFolder {
 public:
  explicit NewFolder(const std::string& path) : path_(path) {
    std::error_code error;
    const fs::path folder = lab::Utf8Path(path);
    if (fs::exists(folder, error) && !fs::is_directory(folder, error)) {
      throw UsageError(path + " is no folder.");
    }
    if (fs::exists(folder, error) && !(fs::is_empty(folder, error) && !error)) {
      throw UsageError(path + " isn't empty; nothing is overwritten.");
    }
    Make(path);
  }

  // Writes a new file. Its name may begin with a folder.
  void Write(const std::string& name, const std::string& text) const {
    const std::string path = path_ + "/" + name;
    Make(lab::Utf8Path(path).parent_path().string());
    if (!platform::WriteNewFile(path, text)) {
      throw std::runtime_error(path + " can't be written.");
    }
    std::printf("  %s\n", name.c_str());
  }

 private:
  static void Make(const std::string& path) {
    if (!zo_base::CreateFolders(path)) {
      throw std::runtime_error("the folder " + path + " can't be made.");
    }
  }

  const std::string path_;
};

struct NewFile {
  std::string name;  // from the bundle's folder on
  std::string text;
};

// Reads the caches that have a text. Each keeps the name that it has in the client's folder, also
// if it is a link to elsewhere.
std::vector<NewFile> ReadCaches(const std::string& client, const client_state::ClientState& state) {
  using Condition = client_state::CacheFile::Condition;
  std::vector<NewFile> caches;
  for (const client_state::CacheFile* file :
       {&state.document.file, &state.endpoints.file, &state.hosts.file}) {
    if (file->condition == Condition::kGood || file->condition == Condition::kDamaged) {
      caches.push_back({file->path.substr(client.size() + 1),
                        zo_base::ReadFilePrefix(file->path, zo_sturdy::kMaxCacheFileBytes)});
    }
  }
  return caches;
}

// Returns the versions of the library, of the tool and of the system.
std::string Versions(const history::History& history) {
  std::string text = "tool    sturdyctl " STURDY_VERSION_STRING "\n";
  text += "client  ";
  text += history.runs.empty() || history.runs.back().settings.empty()
              ? "unknown"
              : history.runs.back().settings;
  return text + "\nsystem  " + platform::SystemName() + "\n";
}

}  // namespace

int RunBundle(const std::string& folder, const std::string& output) {
  // Read everything before the folder is made: it may be inside the client's.
  const std::string client = FindClientFolder(folder);
  const std::string log_path = LogOfClient(client);
  history::History history =
      history::ReadHistory(log_reader::LogReader(log_path).ReadNewMessages());
  client_state::ClientState state = client_state::ReadState(client);
  std::vector<NewFile> caches = ReadCaches(client, state);
  // Redact it. The log comes first, since it shows the application's key.
  redactor::Redactor redactor;
  history::RedactHistory(redactor, history);
  client_state::RedactState(redactor, state);
  for (NewFile& cache : caches) {
    cache.text = redactor.Redact(cache.text);
  }
  std::string log;
  for (const log_reader::LogMessage& message : history.messages) {
    log += message.bytes;
  }
  // Write it as a client keeps it, so that the tool's other commands can read the bundle.
  const NewFolder bundle(output);
  std::printf("%s\n", output.c_str());
  if (!log.empty()) {
    bundle.Write(std::string(zo_base::kLogFileName), log);
  }
  for (const NewFile& cache : caches) {
    bundle.Write(cache.name, cache.text);
  }
  bundle.Write("state.txt", client_state::StateWords(state));
  if (!history.runs.empty()) {
    bundle.Write("why.txt", history::WhyWords(history).All());
    bundle.Write("timeline.html", timeline::MakePage(history, log_path));
  }
  bundle.Write("versions.txt", Versions(history));
  if (history.runs.empty()) {
    std::puts("There is no line of a client's log, so why.txt and timeline.html are left out.");
  }
  std::puts(
      "The application's key and the values of queries, and of members such as token, are "
      "removed.\n"
      "Names, addresses and paths stay. Look for other secrets in your documents before you send "
      "it.");
  return kExitOk;
}

}  // namespace sturdyctl
