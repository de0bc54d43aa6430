#include "base/key_value_file.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>

#include "base/platform/file.h"
#include "lab/temp_folder.h"
#include "tests/support/run_threads.h"

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

struct KeyValueFileTest : testing::Test {
  void SetText(const std::string& key, const std::string& text) {
    store.Set(key, ZOAny(text), SVT::kString);
  }

  const lab::TempFolder folder;
  const std::string path = folder.File("x.data");
  KeyValueFile store;
};

TEST_F(KeyValueFileTest, ALoadTakesAnObjectAndIsEmptiedByAnythingElse) {
  const std::pair<std::string, Items> cases[] = {
      {R"({"a":1,"b":null,"c":"\u00e4"})", {{"a", ""}, {"b", ""}, {"c", "ä"}}},
      {R"(["a"])", {}},
      {R"({"a":"1"} x)", {}},
      {R"({"a":"1"})" + std::string(kMaxFileBytes - 9, ' '), {{"a", "1"}}},
      {R"({"a":"1"})" + std::string(kMaxFileBytes - 8, ' '), {}}};
  for (const auto& [text, items] : cases) {
    SetText("old", "item");
    ASSERT_TRUE(WriteWholeFile(path, text));
    EXPECT_TRUE(store.Load(path));
    EXPECT_EQ(ItemsOf(store), items) << text.substr(0, 40);
  }
}

TEST_F(KeyValueFileTest, AnAbsentOrUnreadableFileLeavesTheItems) {
  SetText("a", "1");
  ASSERT_TRUE(WriteWholeFile(folder.File("empty"), ""));
  for (const std::string& odd : {path, folder.path(), folder.File("empty")}) {
    EXPECT_TRUE(store.Load(odd));
    EXPECT_TRUE(store.Reload());
    EXPECT_EQ(store.Get("a"), "1") << odd;
  }
}

TEST_F(KeyValueFileTest, LoadsWhatItSavedAndSavesTextsAlone) {
  const Items items = {{"", "no key"}, {"key", ""}, {"\"\\\n", "\x01ä\xff"}};
  for (const auto& [key, text] : items) {
    SetText(key, "first");
    SetText(key, text);
  }
  store.Save();  // there is no path yet
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  store.Load(path);
  store.Save();
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
  KeyValueFile other;
  other.Load(path);
  EXPECT_EQ(ItemsOf(other), items);
  EXPECT_EQ(store.Get("absent"), "");
  store.Set("number", ZOAny(1), SVT::kString);
  EXPECT_EQ(store.Get("number"), "");
  EXPECT_THROW(store.Save(), BadZOAnyCast);
}

TEST_F(KeyValueFileTest, AnyThreadMayUseIt) {
  store.Load(path);
  RunThreads(4, [this](int i) {
    for (int round = 0; round < 50; ++round) {
      SetText("key" + std::to_string(i), "text");
      EXPECT_THAT(store.Get("key0"), AnyOf("", "text"));
      store.Save();
      store.Reload();
      EXPECT_LE(ItemsOf(store).size(), 4U);
    }
  });
}

}  // namespace
}  // namespace zo_base
