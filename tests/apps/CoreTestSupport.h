// The reference files of tests/apps/data: a line "@name v1 v2 ..." opens a
// section, to which the numbers of the lines up to the next '@' belong too.
#pragma once

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using Sections = std::map<std::string, std::vector<double>>;

inline Sections ReadSections(const std::string& file) {
  std::ifstream in(std::string(KOMATH_APPS_TEST_DATA) + "/" + file);
  Sections sections;
  std::vector<double>* current = nullptr;
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    if (line.starts_with("@")) {
      std::string name;
      fields >> name;
      current = &sections[name.substr(1)];
    }
    for (double v; fields >> v;) current->push_back(v);
  }
  return sections;
}
