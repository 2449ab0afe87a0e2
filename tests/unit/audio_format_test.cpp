// SniffAudioFormat: what each kind of file holds, from its bytes.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "platform/media/stream/audio_format.h"
#include "tests/unit/temp_folder.h"

namespace {

std::string Template(const std::string& name) {
  return std::string(CANTORA_SOURCE_DIR) + "/tests/data/templates/" + name;
}

cantora::AudioFormat Sniff(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_GE(fd, 0) << path;
  cantora::AudioFormat format = cantora::SniffAudioFormat(fd);
  close(fd);
  return format;
}

std::string TypeOf(const cantora::AudioFormat& f) { return f.playable_type ? f.playable_type : ""; }

TEST(AudioFormatTest, WhatBrowsersPlayIsSentAsItIs) {
  EXPECT_EQ(TypeOf(Sniff(Template("tone.mp3"))), "audio/mpeg");
  EXPECT_EQ(TypeOf(Sniff(Template("tone.flac"))), "audio/flac");
  EXPECT_EQ(TypeOf(Sniff(Template("tone.ogg"))), "audio/ogg");
  EXPECT_EQ(TypeOf(Sniff(Template("tone.opus"))), "audio/ogg");
  EXPECT_EQ(TypeOf(Sniff(Template("tone.m4a"))), "audio/mp4");
  EXPECT_EQ(TypeOf(Sniff(Template("tone.wav"))), "audio/wav");
}

TEST(AudioFormatTest, TheRestIsTranscoded) {
  for (const char* name : {"tone.wma", "tone.wv", "tone.aiff", "tone-alac.m4a", "cover.jpg"})
    EXPECT_EQ(Sniff(Template(name)).playable_type, nullptr) << name;
  EXPECT_STREQ(Sniff(Template("tone-alac.m4a")).name, "alac");
  EXPECT_STREQ(Sniff(Template("tone.wma")).name, "wma");
}

TEST(AudioFormatTest, TheNameTellsNothingAndTagsInFrontAreSkipped) {
  TempFolder dir;
  // A FLAC stream behind an ID3v2 tag, under an mp3's name.
  std::ifstream flac(Template("tone.flac"), std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(flac)), std::istreambuf_iterator<char>());
  std::string tag = std::string("ID3\x04\x00\x00\x00\x00\x00\x0a", 10) + std::string(10, '\0');
  std::ofstream(dir.Path("song.mp3"), std::ios::binary) << tag << bytes;
  EXPECT_EQ(TypeOf(Sniff(dir.Path("song.mp3"))), "audio/flac");
  // An empty file is nothing a browser plays.
  std::ofstream(dir.Path("empty.mp3")).close();
  EXPECT_EQ(Sniff(dir.Path("empty.mp3")).playable_type, nullptr);
}

}  // namespace
