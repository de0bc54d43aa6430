#pragma once

#include <string_view>

namespace redactor {

// The library writes a key between the first two, and a number between the last two. A key can have
// any characters.
inline constexpr std::string_view kKeyName = "k=";
inline constexpr std::string_view kAfterKey = "&sv=";
inline constexpr std::string_view kAfterNumber = "&pv=";
// A message of the log has these two, with a key after each. The second key ends the message.
inline constexpr std::string_view kFirstKey = " current business token :";
inline constexpr std::string_view kSecondKey = " request business token:";
// A report has the key under this name. A document can have such a member too.
inline constexpr std::string_view kAppKey = "appkey";
inline constexpr std::string_view kReport = "[statistic] Do statistic data :";
// The begins of the messages with a key. Others can have a document in them, which must not name a
// word of the log as a key.
inline constexpr std::string_view kMessagesWithKey[] = {
    kReport, "[multiple]Send sub url request:", "[lbs] Check response current business token :",
    "[lbs] Update LBS complete current business token :"};

// The log writes these directly before a URL or an address. A URL can have blanks and quotes.
inline constexpr std::string_view kBeforeUrl[] = {"host:", "request:", "link address ",
                                                  "business:", "Second pass of "};
// The log can also write these after it, with a blank before them.
inline constexpr std::string_view kAfterUrl[] = {
    "url:",    "default_link_v4:", "default_link_v6:", "backup_urls:", "default_link_list:",
    "http://", "https://",         "use default:",     "found:",       "res:",
    "failed:"};
// The log ends a line with a path after this. A path can have any marks, and is no secret.
inline constexpr std::string_view kBeforePath = " data_path:";
// The end of a tag of the log.
inline constexpr std::string_view kAfterTag = "] ";

}  // namespace redactor
