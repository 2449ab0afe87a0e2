// The image layer: scaling arithmetic, strict decoders, encoders.
#include <gtest/gtest.h>

#include "platform/lib/image/image.h"
#include "platform/lib/image/row_scaler.h"

namespace {

image::Pixels Solid(int w, int h, int channels, uint8_t value, uint8_t alpha = 255) {
  image::Pixels p;
  p.width = w;
  p.height = h;
  p.channels = channels;
  p.data.assign(static_cast<size_t>(w) * h * channels, value);
  if (channels == 4)
    for (size_t i = 3; i < p.data.size(); i += 4) p.data[i] = alpha;
  return p;
}

image::Pixels Scale(const image::Pixels& in, int w, int h) {
  image::Pixels out;
  image::RowScaler scaler(in.width, in.height, w, h, in.channels, &out);
  const size_t stride = static_cast<size_t>(in.width) * in.channels;
  for (int y = 0; y < in.height; ++y) scaler.AddRow(&in.data[y * stride]);
  EXPECT_TRUE(scaler.Done());
  return out;
}

TEST(ImageTest, FitWithinKeepsProportionsAndNeverEnlarges) {
  struct Case {
    int w, h, fit_w, fit_h;
  };
  const Case cases[] = {{3000, 3000, 600, 600}, {1200, 300, 600, 150}, {300, 1201, 150, 600},
                        {50, 40, 50, 40},       {5000, 1, 600, 1},     {600, 600, 600, 600}};
  for (const Case& c : cases) {
    int w, h;
    image::FitWithin(c.w, c.h, 600, &w, &h);
    EXPECT_EQ(w, c.fit_w) << c.w << "x" << c.h;
    EXPECT_EQ(h, c.fit_h) << c.w << "x" << c.h;
  }
}

TEST(ImageTest, AreaAverageOfEveryCoveredPixel) {
  image::Pixels in = Solid(4, 2, 3, 0);
  // Left half 0, right half 200: one output column each.
  for (int y = 0; y < 2; ++y)
    for (int x = 2; x < 4; ++x)
      for (int k = 0; k < 3; ++k) in.data[(y * 4 + x) * 3 + k] = 200;
  image::Pixels out = Scale(in, 2, 1);
  ASSERT_EQ(out.data.size(), 6u);
  EXPECT_EQ(out.data[0], 0);
  EXPECT_EQ(out.data[3], 200);
  // Three columns into two: the middle one is shared half and half.
  image::Pixels three = Solid(3, 3, 3, 0);
  for (int y = 0; y < 3; ++y)
    for (int k = 0; k < 3; ++k) three.data[(y * 3 + 1) * 3 + k] = 90;
  out = Scale(three, 2, 2);
  EXPECT_EQ(out.data[0], 30);  // (0 * 1 + 90 * 0.5) / 1.5
}

TEST(ImageTest, UniformPictureStaysUniformAtAnySize) {
  image::Pixels out = Scale(Solid(997, 613, 3, 77), 600, 369);
  for (uint8_t v : out.data) ASSERT_EQ(v, 77);
}

TEST(ImageTest, TransparentPixelsLendNoColour) {
  image::Pixels in = Solid(2, 1, 4, 0);
  in.data = {255, 0, 0, 0, /* */ 0, 0, 255, 255};  // invisible red, opaque blue
  image::Pixels out = Scale(in, 1, 1);
  EXPECT_EQ(out.data[0], 0);
  EXPECT_EQ(out.data[2], 255);
  EXPECT_EQ(out.data[3], 128);
}

TEST(ImageTest, JpegRoundTripAndScaledDecode) {
  std::string jpeg, error;
  ASSERT_TRUE(image::EncodeJpeg(Solid(1600, 800, 3, 200), 90, &jpeg, &error)) << error;
  EXPECT_EQ(image::FormatOf(jpeg), image::Format::kJpeg);
  image::Pixels p;
  int w, h;
  ASSERT_TRUE(image::DecodeScaled(jpeg, 600, &p, &w, &h, &error)) << error;
  EXPECT_EQ(w, 1600);
  EXPECT_EQ(h, 800);
  EXPECT_EQ(p.width, 600);
  EXPECT_EQ(p.height, 300);
  EXPECT_NEAR(p.data[0], 200, 2);
}

TEST(ImageTest, WebpIsScaledWhileDecodedAndKeepsItsAlpha) {
  std::string webp, error;
  ASSERT_TRUE(image::EncodeWebp(Solid(900, 300, 4, 50, 0), 90, &webp, &error)) << error;
  EXPECT_EQ(image::FormatOf(webp), image::Format::kWebp);
  image::Pixels p;
  int w, h;
  ASSERT_TRUE(image::DecodeScaled(webp, 600, &p, &w, &h, &error)) << error;
  EXPECT_EQ(w, 900);
  EXPECT_EQ(p.width, 600);
  EXPECT_EQ(p.height, 200);
  EXPECT_TRUE(p.HasTransparency());
  EXPECT_FALSE(image::DecodeScaled(webp.substr(0, webp.size() / 2), 600, &p, &w, &h, &error));
}

TEST(ImageTest, TruncatedOrForeignBytesDoNotDecode) {
  std::string jpeg, png, error;
  ASSERT_TRUE(image::EncodeJpeg(Solid(300, 300, 3, 10), 90, &jpeg, &error));
  ASSERT_TRUE(image::EncodePng(Solid(300, 300, 4, 10, 100), &png, &error));
  image::Pixels p;
  int w, h;
  EXPECT_FALSE(image::DecodeScaled(jpeg.substr(0, jpeg.size() / 2), 600, &p, &w, &h, &error));
  EXPECT_FALSE(image::DecodeScaled(png.substr(0, png.size() - 20), 600, &p, &w, &h, &error));
  EXPECT_FALSE(image::DecodeScaled("GIF89a....", 600, &p, &w, &h, &error));
  EXPECT_FALSE(image::DecodeScaled("", 600, &p, &w, &h, &error));
  std::string broken = png;
  broken[40] ^= 0x55;  // inside the first chunk after the header: its CRC fails
  EXPECT_FALSE(image::DecodeScaled(broken, 600, &p, &w, &h, &error));
  ASSERT_TRUE(image::DecodeScaled(png, 600, &p, &w, &h, &error)) << error;
  EXPECT_TRUE(p.HasTransparency());
}

}  // namespace
