#pragma once

#include <cctype>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "src/sturdy/http_agent/logic/multiple_url_request.h"
#include "tests/support/log_lines.h"

// What the log tells of a request from its begin, in sentences like "send 0;silent 0 false". In
// the lines of a word a digit stands for an argument, and @ for the URL that the first one numbers.
inline Messages RequestLines(const zo_sturdy::MultipleURLHttpRequest& request,
                             const std::string& sentences) {
  static const std::map<std::string, std::string> words = {
      {"send", "Send sub url request:@|Start timer index:0"},
      {"silent",
       "[time out]Sub url request time out index:0|[time out]Stop sub url request timer index :0|"
       "[time out]All url requested :1"},
      {"silent->", "[time out]Switch to index :1 triggered by :0"},
      {"good",
       "[rsp]Index:0 code :1|[rsp]All url requested :2|[rsp]Business check response true,index :0|"
       "[rsp]Business check response url:@|Request return,release request object"},
      {"bad",
       "[rsp]Index:0 code :1|[rsp]All url requested :2|[rsp]Business check response false,index :0|"
       "[rsp]Business check response url:@"},
      {"stop", "[rsp]Stop timer index :0"},
      {"remove", "[rsp]Remove timer index :0"},
      {"waits", "[rsp]Has waitting request 0"},
      {"->", "[rsp]Switch to index :1 triggered by :0|[rsp]Switch to url:@"},
      {"last", "[rsp]All sub url has been requested"},
      {"second", "Request return false, use http dns if fail:true"},
      {"fail",
       "Request return false, use http dns if fail:false|"
       "Request return false, use http dns if fail:false|Request return,release request object"}};
  std::string list;
  for (const auto& [url, host] : request.urls) {
    list += "host:" + host + " url:" + url + "\r\n";
  }
  Messages lines = {
      "[multiple]Invoke send multiple_time_out:" + std::to_string(request.multiple_time_out) +
          " time_out:" + std::to_string(request.time_out) +
          " use http dns:" + (request.use_http_dns ? "true" : "false"),
      "[multiple]Invoke send multiple url\r\n-----------------------\r\nurl list:\r\n" + list +
          "-----------------------"};
  std::istringstream all(sentences);
  for (std::string sentence; std::getline(all, sentence, ';');) {
    std::istringstream parts(sentence);
    std::string word;
    parts >> word;
    const Messages arguments{std::istream_iterator<std::string>(parts), {}};
    std::istringstream texts(words.at(word));
    for (std::string text; std::getline(texts, text, '|');) {
      lines.emplace_back("[multiple]");
      for (const char c : text) {
        lines.back() += c == '@'          ? request.urls.at(std::stoul(arguments.at(0))).url
                        : std::isdigit(c) ? arguments.at(c - '0')
                                          : std::string(1, c);
      }
    }
  }
  return lines;
}
