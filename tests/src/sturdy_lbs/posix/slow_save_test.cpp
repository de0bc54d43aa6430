#include <sys/stat.h>

#include <filesystem>
#include <future>

#include "base/platform/file.h"
#include "tests/src/sturdy_lbs/lbs_fixture.h"

namespace zo_sturdy {
namespace {

class SlowSave : public LbsTest {};

// The next service must not read a cache file that this one is still writing.
TEST_F(SlowSave, IsAwaitedByAStop) {
  const std::string document = TestDocument({"1.2.3.4:2"}).Text();
  const std::string cache = folder.path() + "/lbs/lbs.data";
  const auto service = MakeService();
  SetToken("key");
  ASSERT_TRUE(service->Start(Record()));
  const MultipleURLHttpRequest first = Request(0);
  log.StartHere();  // the start has applied a document too
  std::filesystem::remove(cache);
  ASSERT_EQ(mkfifo(cache.c_str(), 0600), 0);  // a save blocks until the file is read
  const auto answer = std::async(std::launch::async, [&] { Answer(first, 200, document); });
  ASSERT_TRUE(log.WaitFor("[lbs]ParseLBSResponse parsel result = true,update active lbs"));
  const auto stop = std::async(std::launch::async, [&] { service->Stop(); });
  EXPECT_EQ(stop.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  EXPECT_THAT(zo_base::ReadFilePrefix(cache, 1 << 20), testing::HasSubstr("1.2.3.4:2"));
}

}  // namespace
}  // namespace zo_sturdy
