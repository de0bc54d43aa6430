#pragma once

#include <string>
#include <vector>

#include "lab/lbs_document.h"

inline constexpr char kLbsPath[] = "/lbs/conf.jsp";

// A document with these links. Its URLs, in the order of trial, are those of a lab's server "lbs"
// unless given.
inline lab::LbsDocument TestDocument(const std::vector<std::string>& links = {"one.example:1"},
                                     const std::vector<std::string>& urls = {
                                         std::string("${url:lbs}") + kLbsPath}) {
  return lab::LbsDocument()
      .Link(links)
      .LinkDefault({"spare.example:9"})
      .Lbs(urls.at(0))
      .LbsBackup({urls.begin() + 1, urls.end()});
}
