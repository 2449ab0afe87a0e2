#include "tools/admin/input.h"

#include <fstream>
#include <iostream>
#include <iterator>

bool ReadWholeFile(const std::string& path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  text->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

bool ReadAdminInput(const std::string& source, std::string* text) {
  if (source != "-") return ReadWholeFile(source, text);
  text->assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  return true;
}
