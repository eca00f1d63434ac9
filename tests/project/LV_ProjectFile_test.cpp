#include "project/LV_ProjectFile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "LV_TestHelpers.h"
#include "core/text/LV_Errors.h"

namespace lv {
namespace {

uint64_t LE(const std::string& bytes, size_t at, int size) {
  uint64_t value = 0;
  for (int i = 0; i < size; ++i) {
    value |= static_cast<uint64_t>(static_cast<uint8_t>(bytes[at + static_cast<size_t>(i)]))
             << (8 * i);
  }
  return value;
}

std::string Chunk(std::string_view id, std::string_view data, uint64_t distance) {
  std::string out(id);
  for (uint64_t v : {static_cast<uint64_t>(data.size()), distance}) {
    for (int i = 0; i < 8; ++i) out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
  }
  return out + std::string(data);
}

// Cheap derivations: the tests check the format, not the cost.
constexpr TProjectKdfLimits kFast{1, 8192};

TEST(ProjectFile, HeaderAndChunksAreLaidOutToTheByte) {
  TProjectFile file;
  file.AddChunk("LVER", "<v/>");
  file.AddChunk("DATA", "secret");
  std::string bytes = file.Bytes();
  EXPECT_EQ(bytes.substr(0, 4), "LPRJ");
  EXPECT_EQ(LE(bytes, 4, 4), 1u);
  EXPECT_EQ(LE(bytes, 8, 8), 144u);
  EXPECT_EQ(LE(bytes, 16, 4), 0u);
  ASSERT_EQ(bytes.size(), 144u + 20 + 4 + 20 + 6);
  EXPECT_EQ(bytes.substr(144, 4), "LVER");
  EXPECT_EQ(LE(bytes, 148, 8), 4u);
  EXPECT_EQ(LE(bytes, 156, 8), 4u);
  EXPECT_EQ(bytes.substr(164, 4), "<v/>");
  EXPECT_EQ(bytes.substr(168, 4), "DATA");
  EXPECT_EQ(*TProjectFile::FindChunk(bytes, "DATA"), "secret");
  EXPECT_FALSE(TProjectFile::FindChunk(bytes, "NONE"));
}

TEST(ProjectFile, ChunksAreFoundByIdentifierWhereverTheyStand) {
  // DATA before LVER, the first chunk at offset 40 instead of 144, and a distance that
  // skips padding after a chunk's data.
  std::string bytes = "LPRJ";
  bytes += std::string("\x07\0\0\0", 4);
  bytes += std::string("\x28\0\0\0\0\0\0\0", 8);
  bytes.resize(40, 'x');
  bytes += Chunk("DATA", "zz", 5) + "pad";
  bytes += Chunk("LVER", "<v/>", 4);
  EXPECT_EQ(*TProjectFile::FindChunk(bytes, "LVER"), "<v/>");
  EXPECT_EQ(*TProjectFile::FindChunk(bytes, "DATA"), "zz");

  std::string cut = bytes.substr(0, bytes.size() - 2);
  EXPECT_THROW(TProjectFile::FindChunk(cut, "LVER"), ELVError);
  std::string headerCut = bytes.substr(0, 50);
  EXPECT_THROW(TProjectFile::FindChunk(headerCut, "LVER"), ELVError);
  EXPECT_FALSE(TProjectFile::HasSignature("LPR"));
}

TEST(ProjectFile, EachPasswordOpensItsSlotAndNothingElseDoes) {
  TProjectKeyRing ring(kFast);
  ring.SetSlot(TProjectAccess::paProject, "проект");
  ring.SetSlot(TProjectAccess::paViewer, "viewer");
  ring.SetSlot(TProjectAccess::paBatch, "batch");
  std::string xml = "<Lumivera><Script><Node Vendor=\"TextFile\"/></Script></Lumivera>";
  std::string chunk = ring.Seal(xml);
  EXPECT_EQ(chunk.find("Script"), std::string::npos);
  EXPECT_EQ(chunk.find("TextFile"), std::string::npos);

  for (auto [password, expected] : {std::pair{"проект", TProjectAccess::paProject},
                                    std::pair{"viewer", TProjectAccess::paViewer},
                                    std::pair{"batch", TProjectAccess::paBatch}}) {
    std::string read;
    TProjectAccess access{};
    TProjectKeyRing opened = TProjectKeyRing::Open(chunk, password, read, access);
    EXPECT_EQ(read, xml);
    EXPECT_EQ(access, expected);
    // The ring read back seals again without any password.
    std::string again;
    TProjectKeyRing::Open(opened.Seal("<b/>"), "batch", again, access);
    EXPECT_EQ(again, "<b/>");
  }
  std::string read;
  TProjectAccess access{};
  EXPECT_EQ(test::MessageOf([&] { TProjectKeyRing::Open(chunk, "wrong", read, access); }),
            "Неверный пароль.");
  // A changed byte of the content is found out; so is a changed parameter.
  std::string tampered = chunk;
  tampered.back() ^= 1;
  EXPECT_THROW(TProjectKeyRing::Open(tampered, "batch", read, access), ELVError);
  std::string params = chunk;
  params[8] = 2;  // opslimit
  EXPECT_THROW(TProjectKeyRing::Open(params, "batch", read, access), ELVError);
  std::string hostile = chunk;
  hostile[23] = 0x7F;  // a memory limit far beyond what a file may ask for
  EXPECT_THROW(TProjectKeyRing::Open(hostile, "batch", read, access), ELVError);
  EXPECT_THROW(TProjectKeyRing::Open(chunk.substr(0, 60), "batch", read, access), ELVError);
}

}  // namespace
}  // namespace lv
