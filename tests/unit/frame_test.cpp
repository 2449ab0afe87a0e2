// The pieces of the request frame that need no process: the exported menu
// tables and the platform's error answer.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "enumerate/enumerate.h"

namespace {

size_t Rows(const char* const table[][4]) {
  size_t n = 0;
  while (table[n][0] != nullptr) ++n;
  for (int c = 0; c < 4; ++c) EXPECT_EQ(table[n][c], nullptr);
  return n;
}

TEST(MenuTables, RootMenuRowsAsShipped) {
  ASSERT_EQ(Rows(grzRootMenu), 8u);
  EXPECT_STREQ(grzRootMenu[0][0], "musiclib_music_all");
  EXPECT_STREQ(grzRootMenu[0][2], "icon_audio_default_songs.png");
  EXPECT_STREQ(grzRootMenu[1][2], "icon_icon_folder_96.png");
  EXPECT_STREQ(grzRootMenu[6][1], "random_playlist");
  EXPECT_STREQ(grzRootMenu[7][0], "musiclib_music_latestalbum");
  EXPECT_STREQ(grzRootMenu[7][3], "3rdparty/Cantora/images/_1x/icon_recently_added_96.png");
  for (size_t i = 1; i < 8; ++i)
    EXPECT_EQ(std::strncmp(grzRootMenu[i][2], "icon_icon_", 10), 0) << i;
}

TEST(MenuTables, RadioRootRowsAsShipped) {
  ASSERT_EQ(Rows(grzRadioItem), 3u);
  EXPECT_STREQ(grzRadioItem[0][0], "inetradio_sc");
  EXPECT_STREQ(grzRadioItem[0][1], "player_source_shoutcast");
  EXPECT_STREQ(grzRadioItem[1][0], "inetradio_userdefined");
  EXPECT_STREQ(grzRadioItem[2][0], "inetradio_favorite");
  EXPECT_STREQ(grzRadioItem[2][1], "def_radio_station");
  EXPECT_STREQ(grzRadioItem[2][3], "3rdparty/Cantora/images/_1x/icon_favorite_96.png");
}

class ErrorForm : public ServerFormHandler {
 public:
  ErrorForm() : ServerFormHandler(nullptr) {}
  void Run() override {
    SetFormErrInfo("common", "error_system", 1234);
    if (HasFormError()) ReportError();
  }
};

TEST(ServerFormHandler, ReportErrorWritesSectionKeyAndLine) {
  char* text = nullptr;
  size_t size = 0;
  FILE* out = open_memstream(&text, &size);
  {
    ErrorForm form;
    form.web().SetOutput(out);
    form.Run();
  }
  std::fclose(out);
  EXPECT_EQ(std::string(text, size),
            "Content-Type: text/plain; charset=\"UTF-8\"\r\n\r\n"
            "{\"errinfo\":{\"key\":\"error_system\",\"line\":1234,\"sec\":\"common\"},\"success\":false}");
  free(text);
}

}  // namespace
