#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lab {

// The rules for failure reports. The document has only the members that are set.
struct LbsReport {
  std::optional<std::string> host = {};
  std::optional<bool> on = {};
  std::optional<int64_t> count = {};
  std::optional<int64_t> time = {};
  std::optional<int64_t> min_delay_s = {};
};

// Builds the JSON text of a load-balancing document, its members in the order of the calls:
//   LbsDocument().Link({"${a}"}).LinkDefault({"${b}"}).Lbs("${url:c}/lbs/conf.jsp").Text()
// A plain value. A key that is set twice keeps its place and takes the later value.
class LbsDocument {
 public:
  using List = std::vector<std::string>;

  LbsDocument& Link(const List& host_ports);          // "link"
  LbsDocument& LinkDefault(const List& host_ports);   // "link.default"
  LbsDocument& Lbs(const std::string& url);           // "lbs"
  LbsDocument& LbsBackup(const List& urls);           // "lbs.backup"
  LbsDocument& Download(const std::string& address);  // "vltdl"
  LbsDocument& Name(const std::string& text);         // "name"
  LbsDocument& Desc(const std::string& text);         // "desc"
  LbsDocument& MsgStatEnable(bool on);                // "msg.stat.enable"
  LbsDocument& Report(const LbsReport& report);       // "report"
  // Sets any member of "common" to a JSON text: odd types, "vltdls", "vlt".
  LbsDocument& Set(const std::string& key, std::string json_text);

  std::string Text() const;

 private:
  std::vector<std::pair<std::string, std::string>> members_;
};

}  // namespace lab
