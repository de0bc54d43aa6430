#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "lab/json.h"
#include "lab/scenario.h"

namespace lab {

template <class T>
using Names = std::initializer_list<std::pair<const char*, T>>;

// A JSON value of a scenario, with the key that errors about it begin with.
// Owner:  the caller keeps the JSON value alive.
// Errors: each reader throws ScenarioError for a value of another kind.
class Node {
 public:
  Node(const Json& value, std::string key) : value_(value), key_(std::move(key)) {}

  [[noreturn]] void Fail(const std::string& what) const {
    throw ScenarioError((key_.empty() ? "scenario" : key_) + ": " + what);
  }

  // Fails unless this is an object whose keys are all `allowed`.
  void ExpectKeys(std::initializer_list<const char*> allowed, const std::string& of_what) const {
    ExpectObject();
    for (const auto& [name, child] : value_.items()) {
      if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
        Node(child, Below(name)).Fail("is not a key of " + of_what + ".");
      }
    }
  }

  bool Has(const char* name) const { return value_.contains(name); }

  Node At(const char* name) const {
    const auto found = value_.find(name);
    if (found == value_.end()) {
      throw ScenarioError(Below(name) + ": is missing.");
    }
    return {*found, Below(name)};
  }

  std::vector<Node> Items() const {
    if (!value_.is_array()) {
      Fail("must be a list.");
    }
    std::vector<Node> items;
    for (const Json& item : value_) {
      items.emplace_back(item, key_ + "[" + std::to_string(items.size()) + "]");
    }
    return items;
  }

  std::vector<std::pair<std::string, Node>> Members() const {
    ExpectObject();
    std::vector<std::pair<std::string, Node>> members;
    for (const auto& [name, child] : value_.items()) {
      members.emplace_back(name, Node(child, Below(name)));
    }
    return members;
  }

  bool IsText() const { return value_.is_string(); }
  bool IsList() const { return value_.is_array(); }
  std::string Dump() const { return value_.dump(); }

  void Read(const char* name, std::string& to) const {
    if (Has(name)) {
      to = At(name).Text();
    }
  }

  void Read(const char* name, int& to) const {
    if (Has(name)) {
      to = At(name).Number();
    }
  }

  void Read(const char* name, bool& to) const {
    if (!Has(name)) {
      return;
    }
    const Node node = At(name);
    if (!node.value_.is_boolean()) {
      node.Fail("must be true or false.");
    }
    to = node.value_.get<bool>();
  }

  template <class T>
  void Read(const char* name, T& to, Names<T> names) const {
    if (!Has(name)) {
      return;
    }
    const Node node = At(name);
    const std::string text = node.Text();
    std::string all;
    for (const auto& [known, value] : names) {
      if (text == known) {
        to = value;
        return;
      }
      all.append(all.empty() ? "\"" : ", \"").append(known).append("\"");
    }
    node.Fail("must be one of " + all + ", not \"" + text + "\".");
  }

  std::string Text() const {
    if (!value_.is_string()) {
      Fail("must be a string.");
    }
    return value_.get<std::string>();
  }

  int Number() const {
    const bool fits =
        value_.is_number_integer() &&
        (!value_.is_number_unsigned() || value_.get<uint64_t>() <= uint64_t{INT_MAX}) &&
        value_.get<int64_t>() >= INT_MIN && value_.get<int64_t>() <= INT_MAX;
    if (!fits) {
      Fail("must be a whole number below 2^31.");
    }
    return value_.get<int>();
  }

 private:
  std::string Below(const std::string& name) const {
    return key_.empty() ? name : key_ + "." + name;
  }

  void ExpectObject() const {
    if (!value_.is_object()) {
      Fail("must be an object.");
    }
  }

  const Json& value_;
  std::string key_;
};

}  // namespace lab
