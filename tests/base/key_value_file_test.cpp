#include "base/key_value_file.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <thread>

#include "base/json/json.h"
#include "base/platform/file.h"
#include "base/platform/file_faults_for_test.h"
#include "tests/support/temp_folder.h"

namespace zo_base {
namespace {

using testing::AnyOf;
using Items = std::map<std::string, std::string>;

constexpr size_t kMaxFileBytes = size_t{16} << 20;

Items ItemsOf(const KeyValueFile& store) {
  Items items;
  store.ForEach([&](const std::string& key, const KeyValueFile::Value& value) {
    EXPECT_EQ(std::get<SVT>(value), SVT::kString);
    items[key] = ZOAnyCast<std::string>(std::get<ZOAny>(value));
  });
  return items;
}

void SetText(KeyValueFile& store, const std::string& key, const std::string& text) {
  store.Set(key, ZOAny(text), SVT::kString);
}

class KeyValueFileTest : public testing::Test {
 protected:
  const TempFolder folder_;
  const std::string path_ = folder_.File("x.data");
  KeyValueFile store_;
};

TEST_F(KeyValueFileTest, ALoadTakesAnObjectAndIsEmptiedByAnythingElse) {
  const struct {
    std::string text;
    Items items;
  } cases[] = {
      {R"({"a":"1","b":"\u00e4"})", {{"a", "1"}, {"b", "ä"}}},
      {R"({"a":1,"b":null,"c":{},"d":"x"})", {{"a", ""}, {"b", ""}, {"c", ""}, {"d", "x"}}},
      {"{}", {}},
      {"[\"a\"]", {}},
      {"null", {}},
      {"\n", {}},
      {R"({"a":"1"} x)", {}},
      {R"({"a":"1"})" + std::string(kMaxFileBytes - 8, ' '), {}},
  };
  for (const auto& each : cases) {
    SetText(store_, "old", "item");
    ASSERT_TRUE(WriteWholeFile(path_, each.text));
    EXPECT_TRUE(store_.Load(path_));
    EXPECT_EQ(ItemsOf(store_), each.items) << each.text.substr(0, 40);
  }
}

TEST_F(KeyValueFileTest, AnAbsentOrUnreadableFileLeavesTheItems) {
  SetText(store_, "a", "1");
  ASSERT_TRUE(WriteWholeFile(folder_.File("empty"), ""));
  for (const std::string& path : {path_, folder_.path(), folder_.File("empty")}) {
    EXPECT_TRUE(store_.Load(path));
    EXPECT_TRUE(store_.Reload());
    EXPECT_EQ(store_.Get("a"), "1") << path;
  }
}

TEST_F(KeyValueFileTest, LoadsWhatItSavedAndSavesTextsAlone) {
  const Items items = {{"", "no key"}, {"key", ""}, {"\"\\\n", "\x01ä\xff"}};
  for (const auto& [key, text] : items) {
    SetText(store_, key, "first");
    SetText(store_, key, text);
  }
  store_.Save();  // there is no path yet
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
  store_.Load(path_);
  store_.Save();
  EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms(0600));
  KeyValueFile other;
  other.Load(path_);
  EXPECT_EQ(ItemsOf(other), items);
  EXPECT_EQ(store_.Get("absent"), "");
  store_.Set("number", ZOAny(1), SVT::kString);
  EXPECT_EQ(store_.Get("number"), "");
  EXPECT_THROW(store_.Save(), BadZOAnyCast);
}

TEST_F(KeyValueFileTest, AnyFileCallOfASaveAndALoadCanFail) {
  store_.Load(path_);
  SetText(store_, "a", "old");
  for (int n = 1, fired = 1; fired != 0; ++n) {
    SetText(store_, "a", "old");
    store_.Save();
    SetText(store_, "a", "new");
    KeyValueFile other;
    {
      const ScopedFileFault fault(n, FileFault::kFailOnce);
      store_.Save();
      other.Load(path_);
      fired = ScopedFileFault::Fired() ? 1 : 0;
    }
    EXPECT_EQ(store_.Get("a"), "new");
    EXPECT_THAT(other.Get("a"), fired != 0 ? AnyOf("", "old") : AnyOf("new", "new"));
    store_.Save();
    other.Load(path_);
    EXPECT_EQ(other.Get("a"), "new");
  }
}

TEST_F(KeyValueFileTest, AnyThreadMayUseIt) {
  store_.Load(path_);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, i] {
      for (int round = 0; round < 50; ++round) {
        SetText(store_, "key" + std::to_string(i), "text");
        EXPECT_THAT(store_.Get("key0"), AnyOf("", "text"));
        store_.Save();
        store_.Reload();
        EXPECT_LE(ItemsOf(store_).size(), 4U);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace zo_base
