#pragma once

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

// While it lives, the process writes its decimals with a comma. The locale is made on the spot, as
// no machine has one for certain. Where that can't be done, `available` is false.
class CommaLocale {
 public:
  CommaLocale() {
    char folder[] = "/tmp/comma_locale_XXXXXX";
    if (mkdtemp(folder) == nullptr) {
      return;
    }
    folder_ = folder;
    const std::string path = folder;
    std::ofstream(path + "/source") << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\n"
                                       "grouping 3;3\nEND LC_NUMERIC\n";
    // It complains about the categories that are left out, so its result says nothing.
    const std::string command =
        "localedef -c -i " + path + "/source " + path + "/comma >/dev/null 2>&1";
    static_cast<void>(std::system(command.c_str()));
    setenv("LOCPATH", folder, 1);
    available = std::setlocale(LC_NUMERIC, "comma") != nullptr;
  }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

  ~CommaLocale() {
    std::setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  bool available = false;

 private:
  std::filesystem::path folder_;
};
