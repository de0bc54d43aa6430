// Loads any bytes as a cache file. The result must be the texts of its JSON object, or empty, and
// must load unchanged after a save.
#include <map>
#include <string>

#include "base/json/json.h"
#include "base/key_value_file.h"
#include "base/platform/file.h"
#include "fuzz/expect.h"
#include "lab/temp_folder.h"

namespace {

using zo_base::KeyValueFile;
using zo_base::json11::Json;

std::map<std::string, std::string> Items(const KeyValueFile& file) {
  std::map<std::string, std::string> items;
  file.ForEach([&](const std::string& key, const KeyValueFile::Value& value) {
    items[key] = zo_base::ZOAnyCast<std::string>(std::get<zo_base::ZOAny>(value));
  });
  return items;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const auto* const folder = new lab::TempFolder;
  static const std::string path = folder->File("x.data");
  const std::string text(reinterpret_cast<const char*>(data), size);
  zo_base::WriteWholeFile(path, text);

  // Load it, and compare with the texts of its object.
  KeyValueFile file;
  file.Set("before", zo_base::ZOAny(std::string("kept")), zo_base::SVT::kString);
  file.Load(path);
  const std::map<std::string, std::string> loaded = Items(file);
  std::map<std::string, std::string> expected;
  std::string error;
  const Json document = Json::parse(text, error);
  for (const auto& [key, value] : document.object_items()) {
    expected[key] = value.string_value();
  }
  if (text.empty()) {
    expected["before"] = "kept";
  }
  Expect(loaded == expected, "the texts of the object, or none");

  // Save and load again.
  file.Save();
  KeyValueFile again;
  again.Load(path);
  Expect(Items(again) == loaded, "saved and loaded, the same");
  for (const auto& [key, value] : loaded) {
    Expect(again.Get(key) == value, "each key has its text", key);
  }
  // Load without a file.
  file.Clear();
  zo_base::RemoveFile(path);
  file.Reload();
  Expect(Items(file).empty(), "an absent file changes nothing");
  return 0;
}
