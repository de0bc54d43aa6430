#include "tests/support/comma_locale.h"

#include <clocale>
#include <cstdlib>
#include <fstream>
#include <string>

// Makes the locale on the spot, since a machine may have none.
CommaLocale::CommaLocale() {
  std::ofstream(folder_.File("source")) << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\n"
                                           "grouping 3;3\nEND LC_NUMERIC\n";
  // localedef complains about the categories that are left out, so its result says nothing.
  const std::string command = "localedef -c -i " + folder_.File("source") + " " +
                              folder_.File("comma") + " >/dev/null 2>&1";
  static_cast<void>(std::system(command.c_str()));
  setenv("LOCPATH", folder_.path().c_str(), 1);
  available = std::setlocale(LC_NUMERIC, "comma") != nullptr;
}

CommaLocale::~CommaLocale() {
  std::setlocale(LC_NUMERIC, "C");
  unsetenv("LOCPATH");
}
