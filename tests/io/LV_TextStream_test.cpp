#include "io/LV_TextStream.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/text/LV_Errors.h"
#include "env/LV_EnvTestHelpers.h"

namespace lv {
namespace {

std::vector<std::string> AllLines(const std::string& path, size_t bufferSize) {
  TLVTextStream stream(path, bufferSize);
  std::vector<std::string> lines;
  std::string_view line;
  while (stream.ReadLine(line)) lines.emplace_back(line);
  EXPECT_EQ(stream.Position(), stream.Size());
  return lines;
}

TEST(TextStream, LineEnds) {
  test::TTempDir dir;
  const std::string path = dir / "lines.txt";
  using TLines = std::vector<std::string>;
  const std::pair<std::string, TLines> cases[] = {
      {"a\nb\n", {"a", "b"}},
      {"a\r\nb\r\n", {"a", "b"}},
      // Every CR at the end goes, a CR inside stays.
      {"a\r\r\nb\rc\n", {"a", "b\rc"}},
      // The last line needs no LF; a trailing empty line does count.
      {"a\nlast", {"a", "last"}},
      {"a\n\n", {"a", ""}},
      {"\n", {""}},
      {"", {}},
      {"only\r", {"only"}},
  };
  for (const auto& [text, expected] : cases) {
    test::WriteWholeFile(path, text);
    EXPECT_EQ(AllLines(path, TLVTextStream::kInitialBufferSize), expected) << text;
    // A buffer of 16 bytes must double for nearly every line and give the same lines.
    EXPECT_EQ(AllLines(path, 16), expected) << text;
  }
}

TEST(TextStream, BufferDoublesForLongLinesAndBatchesStayValid) {
  test::TTempDir dir;
  const std::string path = dir / "long.txt";
  const std::string longLine(10000, 'x');
  std::string text;
  for (int i = 0; i < 50; ++i) text += std::to_string(i) + (i == 20 ? longLine : "") + "\n";
  test::WriteWholeFile(path, text);
  TLVTextStream stream(path);
  EXPECT_EQ(stream.BufferSize(), 4064u);
  std::vector<std::string_view> lines;
  std::vector<std::string> seen;
  while (stream.ReadLines(lines, 7) > 0) {
    EXPECT_LE(lines.size(), 7u);
    // Every view of a batch is still intact when the batch is complete.
    for (std::string_view line : lines) seen.emplace_back(line);
    lines.clear();
  }
  ASSERT_EQ(seen.size(), 50u);
  EXPECT_EQ(seen[20], "20" + longLine);
  EXPECT_EQ(seen[49], "49");
  EXPECT_EQ(stream.BufferSize(), 16256u);  // 4064 doubled twice holds 10002 bytes
}

TEST(TextStream, ByteOrderMarkAndMissingFile) {
  test::TTempDir dir;
  const std::string path = dir / "bom.txt";
  test::WriteWholeFile(path, "\xEF\xBB\xBFid;имя\n");
  TLVTextStream stream(path);
  EXPECT_TRUE(stream.Utf8Bom());
  std::string_view line;
  ASSERT_TRUE(stream.ReadLine(line));
  EXPECT_EQ(line, "id;имя");
  test::WriteWholeFile(path, "\xEF\xBB");
  EXPECT_FALSE(TLVTextStream(path).Utf8Bom());
  std::string message =
      test::MessageOfFailure([&] { TLVTextStream missing(dir / "none.txt"); }, "ErrTextFileOpen");
  EXPECT_NE(message.find("none.txt"), std::string::npos);
}

TEST(TextStream, Utf8IsRecognisedByTheFirstBlock) {
  test::TTempDir dir;
  const std::string path = dir / "head.txt";
  const size_t block = TLVTextStream::kInitialBufferSize;
  auto head = [&](const std::string& text, size_t bufferSize = size_t{1} << 20) {
    test::WriteWholeFile(path, text);
    return TLVTextStream(path, bufferSize).Utf8Head();
  };
  EXPECT_TRUE(head("id;имя\n1;Ёж\n"));
  EXPECT_FALSE(head("id;name\n1;x\n")) << "ASCII alone says nothing";
  EXPECT_FALSE(head("id;\xE8\xEC\xFF\n")) << "Windows-1251";
  EXPECT_FALSE(head("\xEF\xBB\xBFid;имя\n")) << "the mark says it already";
  EXPECT_FALSE(head("\xF8\x88\x80\n"));
  // A character cut by the end of the block counts, whatever the buffer; one cut by the
  // end of the file does not.
  const std::string filler(block - 1, 'x');
  EXPECT_TRUE(head(filler + "Ж\n"));
  EXPECT_TRUE(head(filler + "Ж\n", block));
  EXPECT_TRUE(head(std::string(block - 2, 'x') + "€\n"));
  EXPECT_FALSE(head(filler + "\xD0"));
  // Only the first block is looked at.
  EXPECT_FALSE(head(std::string(block, 'x') + "Ж\n"));
  EXPECT_TRUE(head(filler + "Ж\xFF")) << "a bad byte past the block is not seen";
  EXPECT_FALSE(head(std::string(block - 3, 'x') + "Ж\xFF"));
}

TEST(TextStream, DecodersTurnEveryCodePageIntoUtf8) {
  // "Привет" in Windows-1251, in CP866 and in UTF-8.
  const std::string cp1251 = "\xCF\xF0\xE8\xE2\xE5\xF2";
  const std::string cp866 = "\x8F\xE0\xA8\xA2\xA5\xE2";
  const std::string utf8 = "Привет";
  std::string out;
  EXPECT_EQ(TLVTextDecoder::For(TLVCodePage::cpWindows1251, false).Decode(cp1251, out), utf8);
  EXPECT_EQ(TLVTextDecoder::For(TLVCodePage::cpCP866, false).Decode(cp866, out), utf8);
  EXPECT_EQ(TLVTextDecoder::For(TLVCodePage::cpUTF8, false).Decode(utf8, out), utf8);
  // A byte-order mark wins over the page.
  EXPECT_EQ(TLVTextDecoder::For(TLVCodePage::cpCP866, true).Decode(utf8, out), utf8);
  // ASCII and valid UTF-8 pass through without a copy; malformed UTF-8 is replaced.
  const std::string ascii = "plain;text";
  EXPECT_EQ(TLVTextDecoder::For(TLVCodePage::cpWindows1251, false).Decode(ascii, out).data(),
            ascii.data());
  EXPECT_EQ(TLVTextDecoder::For(TLVCodePage::cpUTF8, false).Decode(utf8, out).data(), utf8.data());
  EXPECT_EQ(TLVTextDecoder::For(TLVCodePage::cpUTF8, false).Decode("a\xFF", out), "a\xEF\xBF\xBD");
}

}  // namespace
}  // namespace lv
