#include "base/key_value_file.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "base/platform/file.h"
#include "lab/temp_folder.h"
#include "tests/support/run_threads.h"

namespace zo_base {
namespace {

constexpr size_t kMaxFileBytes = size_t{16} << 20;

struct KeyValueFileTest : testing::Test {
  void SetText(const std::string& key, const std::string& text) {
    store.Set(key, ZOAny(text), SVT::kString);
  }

  const lab::TempFolder folder;
  const std::string path = folder.File("x.data");
  KeyValueFile store;
};

TEST_F(KeyValueFileTest, FileOverItsLimitLoadsAsEmpty) {
  const std::string text = R"({"a":"1"})";
  for (const size_t size : {kMaxFileBytes, kMaxFileBytes + 1}) {
    ASSERT_TRUE(WriteWholeFile(path, text + std::string(size - text.size(), ' ')));
    EXPECT_TRUE(store.Load(path));
    EXPECT_EQ(store.Get("a"), size > kMaxFileBytes ? "" : "1");
  }
}

TEST_F(KeyValueFileTest, SavesToAPrivateFile) {
  SetText("a", "first");
  SetText("a", "1");
  store.Save();  // there is no path yet
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  store.Load(path);
  store.Save();
  EXPECT_EQ(ReadFilePrefix(path, 100), R"({"a": "1"})");
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
}

TEST_F(KeyValueFileTest, SavesToALongPath) {
  // Longer than what Windows takes without a prefix, which wants no dots and one kind of slash.
  const std::string deep =
      folder.path() + "/./" + std::string(150, 'a') + "/" + std::string(150, 'b');
  ASSERT_TRUE(CreateFolders(deep));
  const std::string file = deep + "/x.data";
  store.Load(file);
  SetText("a", "1");
  store.Save();
  EXPECT_EQ(ReadFilePrefix(file, 100), R"({"a": "1"})");
  EXPECT_TRUE(RenameFile(file, deep + "/y.data"));
  EXPECT_FALSE(FileSize(file).has_value());
  EXPECT_TRUE(RemoveFile(deep + "/y.data"));
}

TEST_F(KeyValueFileTest, ThreadsShareOneStore) {
  store.Load(path);
  RunThreads(4, [this](int i) {
    for (int round = 0; round < 50; ++round) {
      SetText("key" + std::to_string(i), "text");
      EXPECT_THAT(store.Get("key0"), testing::AnyOf("", "text"));
      store.Save();
      store.Reload();
      store.ForEach([](const std::string& key, const KeyValueFile::Value&) {
        EXPECT_THAT(key, testing::StartsWith("key"));
      });
    }
  });
}

}  // namespace
}  // namespace zo_base
