#include "platform/playlist/m3u.h"

#include <charconv>
#include <cstdlib>
#include <cstring>

#include "platform/text/percent_escape.h"

namespace cantora {
namespace {

std::string_view TrimmedLine(std::string_view line) {
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t'))
    line.remove_suffix(1);
  while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
  return line;
}

std::string PercentDecoded(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    // An escaped NUL stays as it is written: no path holds one.
    int byte = PercentEscapeAt(text, i);
    if (byte > 0) {
      out.push_back(static_cast<char>(byte));
      i += 2;
      continue;
    }
    out.push_back(text[i]);
  }
  return out;
}

bool HasScheme(std::string_view entry) {
  size_t colon = entry.find("://");
  if (colon == std::string_view::npos || colon == 0) return false;
  for (size_t i = 0; i < colon; ++i) {
    char c = entry[i];
    bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    bool other = (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    bool ok = letter || (i > 0 && other);
    if (!ok) return false;
  }
  return true;
}

// "#EXTINF:<seconds>[ attributes],<artist> - <title>"
void ReadExtinf(std::string_view info, PlaylistEntry* entry) {
  size_t comma = info.find(',');
  std::string_view seconds = info.substr(0, comma);
  double value = 0;
  std::from_chars_result r =
      std::from_chars(seconds.data(), seconds.data() + seconds.size(), value);
  entry->duration = r.ec == std::errc() && value > 0 ? static_cast<float>(value) : 0;
  if (comma == std::string_view::npos) return;
  std::string_view text = TrimmedLine(info.substr(comma + 1));
  size_t dash = text.find(" - ");
  if (dash == std::string_view::npos) {
    entry->title = std::string(text);
  } else {
    entry->artist = std::string(TrimmedLine(text.substr(0, dash)));
    entry->title = std::string(TrimmedLine(text.substr(dash + 3)));
  }
}

std::string EntryPath(std::string_view line, const std::string& folder) {
  if (line.size() > 7 && line.compare(0, 7, "file://") == 0) {
    std::string local = PercentDecoded(line.substr(7));
    for (char& c : local)
      if (c == '\\') c = '/';
    return NormalPath(local);
  }
  if (HasScheme(line)) return std::string(line);
  std::string path(line);
  for (char& c : path)
    if (c == '\\') c = '/';
  if (path[0] != '/') path = folder + "/" + path;
  return NormalPath(path);
}

void AppendDecimal(std::string* out, long long value) {
  char digits[24];
  std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, value);
  out->append(digits, r.ptr - digits);
}

// Line breaks inside a text would start a new entry: they become spaces.
void AppendLineText(std::string* out, const char* text) {
  for (const char* p = text; *p != '\0'; ++p) out->push_back(*p == '\n' || *p == '\r' ? ' ' : *p);
}

}  // namespace

std::string NormalPath(std::string_view path) {
  std::vector<std::string_view> parts;
  size_t i = 0;
  while (i < path.size()) {
    size_t slash = path.find('/', i);
    if (slash == std::string_view::npos) slash = path.size();
    std::string_view part = path.substr(i, slash - i);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    i = slash + 1;
  }
  std::string out;
  for (std::string_view part : parts) {
    out.push_back('/');
    out.append(part);
  }
  return out.empty() ? "/" : out;
}

std::vector<PlaylistEntry> ParseM3u(std::string_view text, const std::string& folder, long start,
                                    long limit, size_t* total) {
  if (text.size() >= 3 && text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.remove_prefix(3);
  size_t first = start > 0 ? static_cast<size_t>(start) : 0;
  std::vector<PlaylistEntry> entries;
  PlaylistEntry pending;
  size_t count = 0;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = TrimmedLine(text.substr(pos, end - pos));
    pos = end + 1;
    if (line.empty()) continue;
    if (line[0] == '#') {
      if (line.compare(0, 8, "#EXTINF:") == 0) {
        pending = PlaylistEntry();
        ReadExtinf(line.substr(8), &pending);
      }
      continue;
    }
    size_t index = count++;
    bool wanted = index >= first && (limit < 0 || index - first < static_cast<size_t>(limit));
    if (wanted) {
      pending.path = EntryPath(line, folder);
      entries.push_back(std::move(pending));
    } else if (total == nullptr && limit >= 0 && index - first >= static_cast<size_t>(limit) &&
               index >= first) {
      break;  // past the page, and nobody asked for the count
    }
    pending = PlaylistEntry();
  }
  if (total != nullptr) *total = count;
  return entries;
}

std::string FormatM3u8(const MediaInfo* list) {
  std::string out = "#EXTM3U\n";
  for (const MediaInfo* m = list; m != nullptr; m = m->next) {
    out += "#EXTINF:";
    AppendDecimal(&out, m->duration > 0 ? static_cast<long long>(m->duration) : -1);
    out.push_back(',');
    if (m->artist[0] != '\0') {
      AppendLineText(&out, m->artist);
      out += " - ";
    }
    AppendLineText(&out, m->title);
    out.push_back('\n');
    AppendLineText(&out, m->path);
    out.push_back('\n');
  }
  return out;
}

}  // namespace cantora
