// A client of the shared library, which the benchmarks run as a separate process:
//   client start FOLDER BEGIN     prints the times from BEGIN to the first link address and to main
//   client fetch FOLDER URL...    prints the time from setting the key to the document
//   client footprint FOLDER URL   prints what an environment takes of the system, as JSON
// BEGIN is the monotonic clock when the parent started the process. All times are in nanoseconds.
// A failure is printed and ends the process with an exit code other than 0.
#include <dirent.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "sturdy/sturdy.h"

namespace {

// The timers of a fetch still wake their loop once, within two seconds, after they are cancelled.
constexpr std::chrono::seconds kSettling(5);
constexpr std::chrono::seconds kIdleLength(10);
constexpr int kFetches = 10;
constexpr int kSuccess = 200;

int64_t NowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

std::promise<void>& Fetched() {
  static auto* const fetched = new std::promise<void>;
  return *fetched;
}

void OnUpdate(int code, const char* /*document*/) {
  if (code != kSuccess) {
    std::cerr << "the fetch has failed" << std::endl;
    _exit(1);
  }
  Fetched().set_value();
}

struct Client {
  zo_sturdy::IZOSturdyObject* object;
  zo_sturdy::IZOSturdyLBSService* service;
};

template <size_t kSize>
void Fill(char (&field)[kSize], const char* text) {
  std::strncpy(field, text, kSize - 1);
}

Client Start(const char* folder, const std::vector<const char*>& urls) {
  zo_sturdy::_ZOSturdyEnvironmentSettings settings{};
  Fill(settings.data_path, folder);
  const int id = zo_sturdy::StartSturdyEnvironment(settings);
  zo_sturdy::IZOSturdyObject* const object = zo_sturdy::GetSturdyObject(id);
  zo_sturdy::IZOSturdyLBSService* const service = object->GetLBSService();
  service->SetUpdateCallback(&OnUpdate);
  zo_sturdy::_ZOSturdyLBSSettings record{};
  record.enable = true;
  Fill(record.default_link_v4, "127.0.0.1:9");
  for (size_t i = 0; i < urls.size(); ++i) {
    if (i == 0) {
      Fill(record.lbs_url, urls[i]);
    } else {
      Fill(record.lbs_backup_urls[i - 1], urls[i]);
    }
  }
  service->Start(record);
  return {object, service};
}

bool Ask(zo_sturdy::IZOSturdyLBSService& service) {
  std::array<char, zo_sturdy::kLinkHostBufferSize> host{};
  uint16_t port = 0;
  net::AddressFamily family = net::kIPFamilyAny;
  return service.GetLinkAddress(host.data(), &port, &family) && host[0] != '\0';
}

int StartAndAsk(const char* folder, const char* begin) {
  const int64_t begin_ns = std::strtoll(begin, nullptr, 10);
  const int64_t main_ns = NowNs();
  const Client client = Start(folder, {});
  if (!Ask(*client.service)) {
    return 1;
  }
  const int64_t end_ns = NowNs();
  std::cout << end_ns - begin_ns << " " << main_ns - begin_ns << std::endl;
  return 0;
}

// A fetch begins when the client sets its key.
int Fetch(const char* folder, const std::vector<const char*>& urls) {
  const Client client = Start(folder, urls);
  const int64_t begin_ns = NowNs();
  client.object->SetBusinessToken("token");
  Fetched().get_future().wait();
  std::cout << NowNs() - begin_ns << std::endl;
  return 0;
}

// --- Footprint ---

// Returns the number in the line "name: number ..." of a file of the kernel, 0 if it has none.
int64_t Field(const std::string& path, const std::string& name) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(name + ":", 0) == 0) {
      return std::strtoll(line.c_str() + name.size() + 1, nullptr, 10);
    }
  }
  return 0;
}

std::vector<std::string> Entries(const char* folder) {
  std::vector<std::string> names;
  DIR* const entries = opendir(folder);
  while (const dirent* const entry = readdir(entries)) {
    if (entry->d_name[0] != '.') {
      names.emplace_back(entry->d_name);
    }
  }
  closedir(entries);
  return names;
}

// Counts the context switches of all threads except this one.
int64_t CountSwitches() {
  int64_t sum = 0;
  const std::string self = std::to_string(getpid());
  for (const std::string& thread : Entries("/proc/self/task")) {
    if (thread != self) {
      const std::string status = "/proc/self/task/" + thread + "/status";
      sum += Field(status, "voluntary_ctxt_switches") + Field(status, "nonvoluntary_ctxt_switches");
    }
  }
  return sum;
}

int MeasureFootprint(const char* folder, const char* url) {
  // Start the environment.
  const char* const status = "/proc/self/status";
  const auto resident = [&] { return Field(status, "VmRSS"); };
  const int64_t resident_before = resident();
  const auto descriptors_before = static_cast<int64_t>(Entries("/proc/self/fd").size());
  const Client client = Start(folder, {url});
  Ask(*client.service);
  const auto descriptors_added =
      static_cast<int64_t>(Entries("/proc/self/fd").size()) - descriptors_before;
  const int64_t threads = Field(status, "Threads") - 1;

  // Fetch some documents.
  const char* const io = "/proc/self/io";
  int64_t disk = -Field(io, "write_bytes");
  for (int i = 0; i < kFetches; ++i) {
    Fetched() = std::promise<void>();
    client.object->SetBusinessToken(("token" + std::to_string(i)).c_str());
    Fetched().get_future().wait();
  }
  disk += Field(io, "write_bytes");
  const int64_t resident_added = resident() - resident_before;  // with libcurl, for the fetches

  // Stay idle.
  std::this_thread::sleep_for(kSettling);
  const int64_t switches_before = CountSwitches();
  std::this_thread::sleep_for(kIdleLength);
  const int64_t wake_ups = CountSwitches() - switches_before;
  std::cout << "{\"resident_kib\": " << resident_added << ", \"threads\": " << threads
            << ", \"descriptors\": " << descriptors_added << ", \"wake_ups\": " << wake_ups
            << ", \"fetch_bytes\": " << disk / kFetches << "}" << std::endl;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<const char*> arguments(argv + 1, argv + argc);
  int result = 2;
  if (arguments.size() == 3 && std::strcmp(arguments[0], "start") == 0) {
    result = StartAndAsk(arguments[1], arguments[2]);
  } else if (arguments.size() >= 3 && std::strcmp(arguments[0], "fetch") == 0) {
    result = Fetch(arguments[1], {arguments.begin() + 2, arguments.end()});
  } else if (arguments.size() == 3 && std::strcmp(arguments[0], "footprint") == 0) {
    result = MeasureFootprint(arguments[1], arguments[2]);
  }
  // Skip the exit of the environment, which would wait for transfers to silent servers.
  _exit(result);
}
