// ParseByteRange: the Range header of a GET against a file's size.
#include <gtest/gtest.h>

#include "platform/cgi/byte_range.h"

namespace {

using cantora::ByteRange;
using cantora::ParseByteRange;

void ExpectPart(const char* header, int64_t size, int64_t first, int64_t last) {
  ByteRange r = ParseByteRange(header, size);
  EXPECT_EQ(r.kind, ByteRange::kPart) << header;
  EXPECT_EQ(r.first, first) << header;
  EXPECT_EQ(r.last, last) << header;
}

TEST(ByteRangeTest, TheThreeFormsAndTheirEnds) {
  ExpectPart("bytes=0-0", 100, 0, 0);
  ExpectPart("bytes=10-19", 100, 10, 19);
  ExpectPart("bytes=90-1000", 100, 90, 99);
  ExpectPart("bytes=99-", 100, 99, 99);
  ExpectPart("bytes=-1", 100, 99, 99);
  ExpectPart("bytes=-100", 100, 0, 99);
  ExpectPart("bytes=-9223372036854775807", 100, 0, 99);
  ExpectPart("BYTES = 1 - 2 ", 100, 1, 2);
  ExpectPart("bytes=,5-6,", 100, 5, 6);
}

TEST(ByteRangeTest, NothingAskedOrSeveralOrAnotherUnitIsTheWholeFile) {
  EXPECT_EQ(ParseByteRange(nullptr, 100).kind, ByteRange::kWhole);
  EXPECT_EQ(ParseByteRange("bytes=0-1,5-6", 100).kind, ByteRange::kWhole);
  EXPECT_EQ(ParseByteRange("bytes=0-1,200-", 100).kind, ByteRange::kWhole);
  EXPECT_EQ(ParseByteRange("items=0-1", 100).kind, ByteRange::kWhole);
}

TEST(ByteRangeTest, PastTheEndCannotBeSatisfied) {
  for (const char* header : {"bytes=100-", "bytes=100-200", "bytes=-0", "bytes=9223372036854775807-"})
    EXPECT_EQ(ParseByteRange(header, 100).kind, ByteRange::kUnsatisfiable) << header;
  // An empty file has no bytes to give.
  EXPECT_EQ(ParseByteRange("bytes=0-", 0).kind, ByteRange::kUnsatisfiable);
  EXPECT_EQ(ParseByteRange("bytes=-5", 0).kind, ByteRange::kUnsatisfiable);
}

TEST(ByteRangeTest, MalformedTextIsSaidSo) {
  for (const char* header : {"bytes", "bytes=", "bytes=,", "bytes=-", "bytes=5", "bytes=5-2",
                             "bytes=a-b", "bytes=1-2-3", "bytes=--1", "bytes=+1-2", "bytes=0x10-",
                             "bytes=9223372036854775808-", "bytes=99999999999999999999-",
                             "bytes=0-1,x"})
    EXPECT_EQ(ParseByteRange(header, 100).kind, ByteRange::kMalformed) << header;
}

}  // namespace
