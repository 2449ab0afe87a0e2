#include "platform/index/folder_condition.h"

#include <string>
#include <vector>

namespace cantora {
namespace {

constexpr std::string_view kLevelUpper[] = {" path LIKE '", "/%' AND path NOT LIKE '", "/%/%' "};
constexpr std::string_view kLevelLower[] = {"path like '", "/%' and path not like '", "/%/%' "};
constexpr std::string_view kBelowBegin = "path like '";
constexpr std::string_view kBelowEnd = "/%' ";
constexpr std::string_view kRootsBegin = "path IN (";
constexpr std::string_view kRootsAndFolder = " OR path LIKE '";
constexpr std::string_view kFolderEnd = "' ";

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool EndsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// text == parts[0] + P + parts[1] + P + parts[2] for one P, stored in *path.
bool PathTwice(std::string_view text, const std::string_view (&parts)[3], std::string_view* path) {
  size_t fixed = parts[0].size() + parts[1].size() + parts[2].size();
  if (text.size() < fixed || (text.size() - fixed) % 2 != 0) return false;
  size_t length = (text.size() - fixed) / 2;
  std::string_view first = text.substr(parts[0].size(), length);
  size_t middle = parts[0].size() + length;
  if (!StartsWith(text, parts[0]) || text.substr(middle, parts[1].size()) != parts[1] ||
      text.substr(middle + parts[1].size(), length) != first || !EndsWith(text, parts[2])) {
    return false;
  }
  *path = first;
  return true;
}

// text == begin + P + end, P anything.
bool PathOnce(std::string_view text, std::string_view begin, std::string_view end,
              std::string_view* path) {
  if (text.size() < begin.size() + end.size() || !StartsWith(text, begin) || !EndsWith(text, end))
    return false;
  *path = text.substr(begin.size(), text.size() - begin.size() - end.size());
  return true;
}

// Reads a quoted literal ('' is a quote) at the start of *text, advancing it.
bool TakeLiteral(std::string_view* text, std::string* value) {
  if (text->empty() || (*text)[0] != '\'') return false;
  value->clear();
  for (size_t i = 1; i < text->size(); ++i) {
    char c = (*text)[i];
    if (c != '\'') {
      value->push_back(c);
    } else if (i + 1 < text->size() && (*text)[i + 1] == '\'') {
      value->push_back('\'');
      ++i;
    } else {
      text->remove_prefix(i + 1);
      return true;
    }
  }
  return false;
}

// "path IN ('<R1>', ...)" optionally followed by " OR path LIKE '<Q>' ".
bool RootPaths(std::string_view text, std::vector<std::string>* paths) {
  if (!StartsWith(text, kRootsBegin)) return false;
  text.remove_prefix(kRootsBegin.size());
  for (;;) {
    std::string value;
    if (!TakeLiteral(&text, &value)) return false;
    paths->push_back(std::move(value));
    if (StartsWith(text, ", ")) {
      text.remove_prefix(2);
    } else if (StartsWith(text, ")")) {
      text.remove_prefix(1);
      break;
    } else {
      return false;
    }
  }
  if (text.empty()) return true;
  std::string_view folder;
  if (!PathOnce(text, kRootsAndFolder, kFolderEnd, &folder)) return false;
  paths->emplace_back(folder);
  return true;
}

}  // namespace

ExprPtr RecognizeFolderCondition(std::string_view condition) {
  std::string_view path;
  if (PathTwice(condition, kLevelUpper, &path) || PathTwice(condition, kLevelLower, &path)) {
    return query::ChildrenOf(std::string(path));
  }
  if (PathOnce(condition, kBelowBegin, kBelowEnd, &path)) return query::Below(std::string(path));
  std::vector<std::string> paths;
  if (RootPaths(condition, &paths)) return query::PathIn(std::move(paths));
  return nullptr;
}

bool TranslateFolderCondition(std::string_view condition, IndexTable table, SqlPiece* out) {
  ExprPtr tree = RecognizeFolderCondition(condition);
  if (!tree) return false;
  AppendExpr(*tree, table, out);
  return true;
}

}  // namespace cantora
