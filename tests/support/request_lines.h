#pragma once

#include <cctype>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include "src/sturdy/config/multiple_url_request.h"
#include "tests/support/log_lines.h"

// The words of RequestLines, each with its log lines, separated by "|". "[multiple]" is left out.
// In a line a digit means an argument, "@" for the URL and "$" for the text with the number of
// the last argument. Lines that begin with "+" are of level LV_PRO.
inline const std::map<std::string, std::string>& RequestWords() {
  static const std::string answer =
      "[rsp]Index:0 code :1|[rsp]All url requested :2|"
      "[lbs] Check response current business token :token request business token:token|"
      "[lbs] Check response index:0 code:1|";
  static const std::map<std::string, std::string> words = {
      {"update",
       "[lbs]UpdateLBS force = false|[lbs]UpdateLBS set updatting = true|[lbs] Begin update LBS"},
      {"send", "Send sub url request:@|Start timer index:0"},
      {"silent",
       "[time out]Sub url request time out index:0|[time out]Stop sub url request timer index :0|"
       "[time out]All url requested :1"},
      {"silent->", "[time out]Switch to index :1 triggered by :0"},
      {"good", answer +
                   "[lbs] Check response res = true|[rsp]Business check response true,index :0|"
                   "+[rsp]Business check response url:@"},
      {"bad", answer +
                  "[lbs] Check response res = false|[rsp]Business check response false,index :0|"
                  "+[rsp]Business check response url:@"},
      {"unusable",
       answer +
           "[lbs] Check response res = false for body error\r\n-----------------------\r\nbody:\r\n"
           "$\r\n-----------------------|[rsp]Business check response false,index :0"},
      {"stop", "[rsp]Stop timer index :0"},
      {"remove", "[rsp]Remove timer index :0"},
      {"waits", "[rsp]Has waitting request 0"},
      {"->", "[rsp]Switch to index :1 triggered by :0|+[rsp]Switch to url:@"},
      {"last", "[rsp]All sub url has been requested"},
      {"failures", "Request fail need statics size 0"},
      {"second", "Request return false, use http dns if fail:true"},
      {"nameless", "Use http dns,host list empty"},
      {"fail",
       "Request return false, use http dns if fail:false|"
       "Request return false, use http dns if fail:false"},
      {"complete",
       "[lbs] Update LBS complete current business token :token request business token:token|"
       "[lbs] Update LBS success = 0|"
       "[lbs] Update LBS \r\n-----------------------\r\n$\r\n-----------------------"},
      {"parsed",
       "[lbs]ParseLBSResponse rsp:\r\n--------------------------\r\n$\r\n"
       "--------------------------|[lbs]ParseLBSResponse parsel result = true,update active lbs"},
      {"end",
       "[lbs]UpdateLBS set updatting = false|"
       "[lbs] Update LBS compare post task to lbs thread for callback"},
      {"release", "Request return,release request object"}};
  return words;
}

// The log lines of a request from its begin, given as sentences like "send 0;silent 0 false". Those
// of an LBS fetch, which begin with "update", have the lines of the LBS service between them, and
// none of level LV_PRO; those of other requests have it the other way round.
inline Messages RequestLines(const zo_sturdy::MultipleURLHttpRequest& request,
                             const std::string& sentences, const Messages& texts = {}) {
  // The first two lines list the URLs.
  std::string list;
  for (const auto& [url, host] : request.urls) {
    list += "host:" + host + " url:" + url + "\r\n";
  }
  const Messages begin = {
      "[multiple]Invoke send multiple_time_out:" + std::to_string(request.multiple_time_out) +
          " time_out:" + std::to_string(request.time_out) +
          " use http dns:" + (request.use_http_dns ? "true" : "false"),
      "[multiple]Invoke send multiple url\r\n-----------------------\r\nurl list:\r\n" + list +
          "-----------------------"};
  // Write the lines of each sentence, with its arguments filled in.
  const bool is_fetch = sentences.starts_with("update");
  Messages lines = is_fetch ? Messages{} : begin;
  std::istringstream all(sentences);
  for (std::string sentence; std::getline(all, sentence, ';');) {
    std::istringstream parts(sentence);
    std::string word;
    parts >> word;
    const Messages arguments{std::istream_iterator<std::string>(parts), {}};
    std::istringstream patterns(RequestWords().at(word));
    for (std::string pattern; std::getline(patterns, pattern, '|');) {
      const bool is_lbs = pattern.starts_with("[lbs]");
      const bool is_pro = pattern.starts_with("+");
      if (is_fetch ? is_pro : is_lbs) {
        continue;
      }
      lines.emplace_back(is_lbs ? "" : "[multiple]");
      for (const char c : pattern.substr(is_pro ? 1 : 0)) {
        lines.back() += c == '@'          ? request.urls.at(std::stoul(arguments.at(0))).url
                        : c == '$'        ? texts.at(std::stoul(arguments.back()))
                        : std::isdigit(c) ? arguments.at(c - '0')
                                          : std::string(1, c);
      }
    }
    // Those of the LBS service come before the request's first.
    if (word == "update") {
      lines.insert(lines.end(), begin.begin(), begin.end());
    }
  }
  return lines;
}
