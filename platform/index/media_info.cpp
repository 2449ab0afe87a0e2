#include "platform/index/media_info.h"

#include <cstdlib>
#include <cstring>

#include "platform/text/utf8.h"

void ZARNPlaylistRecFree(MediaInfo* head) {
  while (head != nullptr) {
    MediaInfo* next = head->next;
    std::free(head);
    head = next;
  }
}

bool MediaInfoIsValidUtf8(const MediaInfo* info) {
  return info != nullptr && TryUTF8ToUTF16(info->album) && TryUTF8ToUTF16(info->artist) &&
         TryUTF8ToUTF16(info->title) && TryUTF8ToUTF16(info->genre);
}

namespace cantora {
namespace {

std::string_view UpToNul(std::string_view text) {
  size_t nul = text.find('\0');
  return nul == std::string_view::npos ? text : text.substr(0, nul);
}

}  // namespace

MediaInfo* NewMediaInfo(const MediaInfoTexts& texts) {
  std::string_view MediaInfoTexts::*const kFields[] = {
      &MediaInfoTexts::path,         &MediaInfoTexts::title, &MediaInfoTexts::album,
      &MediaInfoTexts::artist,       &MediaInfoTexts::album_artist,
      &MediaInfoTexts::genre,        &MediaInfoTexts::composer,
      &MediaInfoTexts::comment};
  const char* MediaInfo::*const kTargets[] = {
      &MediaInfo::path,  &MediaInfo::title,        &MediaInfo::album,
      &MediaInfo::artist, &MediaInfo::album_artist, &MediaInfo::genre,
      &MediaInfo::composer, &MediaInfo::comment};
  constexpr size_t kCount = sizeof(kFields) / sizeof(kFields[0]);

  std::string_view values[kCount];
  size_t size = sizeof(MediaInfo);
  for (size_t i = 0; i < kCount; ++i) {
    values[i] = UpToNul(texts.*kFields[i]);
    size += values[i].size() + 1;
  }
  void* block = std::malloc(size);
  if (block == nullptr) return nullptr;
  MediaInfo* info = static_cast<MediaInfo*>(block);
  std::memset(info, 0, sizeof(MediaInfo));
  char* text = static_cast<char*>(block) + sizeof(MediaInfo);
  for (size_t i = 0; i < kCount; ++i) {
    std::memcpy(text, values[i].data(), values[i].size());
    text[values[i].size()] = '\0';
    info->*kTargets[i] = text;
    text += values[i].size() + 1;
  }
  return info;
}

}  // namespace cantora
