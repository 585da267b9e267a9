#include "files/input_bytes.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <stdexcept>
#include <thread>

#include "files/sha256.h"
#include "support/temporary_folder.h"

namespace vesk_files {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string gzipOf(const std::string& text) {
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string packed(deflateBound(&stream, text.size()) + 32, '\0');
  stream.next_in = reinterpret_cast<unsigned char*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<unsigned>(text.size());
  stream.next_out = reinterpret_cast<unsigned char*>(packed.data());
  stream.avail_out = static_cast<unsigned>(packed.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

/// A frame with a checksum, as the command line program writes it.
std::string zstdOf(const std::string& text) {
  ZSTD_CCtx* context = ZSTD_createCCtx();
  ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, 1);
  std::string packed(ZSTD_compressBound(text.size()), '\0');
  const std::size_t size = ZSTD_compress2(context, packed.data(), packed.size(), text.data(), text.size());
  EXPECT_FALSE(ZSTD_isError(size));
  packed.resize(size);
  ZSTD_freeCCtx(context);
  return packed;
}

/// Text that does not pack well, so that a packed file has many bytes.
std::string manyBytes(std::size_t size) {
  std::mt19937 random(1);
  std::string text(size, '\0');
  for (char& c : text) c = static_cast<char>(random() % 64 + 32);
  return text;
}

struct Packing {
  Compression compression;
  const char* name;
  std::function<std::string(const std::string&)> pack;
};

class InputBytesTest : public ::testing::Test {
 protected:
  static const std::vector<Packing>& packings() {
    static const std::vector<Packing> all = {{Compression::Gzip, "gzip", gzipOf}, {Compression::Zstd, "zstd", zstdOf}};
    return all;
  }
  /// All bytes of a file, read in pieces of at most `pieceBytes`.
  static std::string readAll(InputBytes& input, std::size_t pieceBytes) {
    std::string text;
    std::string piece(pieceBytes, '\0');
    while (const std::size_t size = input.read(piece.data(), piece.size())) {
      EXPECT_LE(size, pieceBytes);
      text.append(piece, 0, size);
    }
    return text;
  }
  std::string contentOf(const std::string& bytes, std::size_t pieceBytes = 1 << 16) {
    InputBytes input(folder.write("in", bytes));
    std::string text = readAll(input, pieceBytes);
    EXPECT_EQ(input.storedBytes(), bytes.size());
    const InputBytes::Hashes hashes = input.finishHashes();
    EXPECT_EQ(hashes.stored, sha256OfText(bytes));
    EXPECT_EQ(hashes.content, sha256OfText(text));
    return text;
  }
  std::string failureOf(const std::string& bytes) {
    try {
      InputBytes input(folder.write("in", bytes));
      readAll(input, 1000);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "no failure";
  }

  TemporaryFolder folder;
};

TEST_F(InputBytesTest, PlainFilesAreReadAsTheyAre) {
  const std::vector<std::string> texts = {
      "", "a", std::string(1, '\x1F'), "ab", "\x28\xB5", "\x28\xB5\x2F", "1 2 3\n", std::string(5, '\0'), "\x8B\x1F"};
  for (const std::string& text : texts) {
    EXPECT_EQ(contentOf(text), text);
    EXPECT_EQ(contentOf(text, 1), text);
    EXPECT_EQ(InputBytes(folder.path("in")).getCompression(), Compression::None);
  }
  const std::string large = manyBytes(3'500'001);
  EXPECT_EQ(contentOf(large), large);
  EXPECT_EQ(contentOf(large, 4'000'000), large);
}

TEST_F(InputBytesTest, PackedFilesAreReadAsTheirContent) {
  for (const Packing& packing : packings()) {
    for (const std::string& text :
         {std::string(), std::string("a"), std::string("1 2 3\n"), std::string(3'000'000, 'x'), manyBytes(2'500'001)}) {
      EXPECT_EQ(contentOf(packing.pack(text)), text) << packing.name;
      EXPECT_EQ(InputBytes(folder.path("in")).getCompression(), packing.compression);
    }
    EXPECT_EQ(contentOf(packing.pack(manyBytes(70'000)), 1), manyBytes(70'000));
    EXPECT_STREQ(nameOf(packing.compression), packing.name);
  }
}

TEST_F(InputBytesTest, MembersThatFollowEachOtherAreReadAsOne) {
  for (const Packing& packing : packings()) {
    const std::string large = manyBytes(1'100'000);
    const std::string empty = packing.pack("");
    EXPECT_EQ(contentOf(packing.pack("ab\n") + packing.pack("cd\n")), "ab\ncd\n");
    EXPECT_EQ(contentOf(empty + empty + packing.pack("x") + empty), "x");
    EXPECT_EQ(contentOf(empty + empty), "");
    EXPECT_EQ(contentOf(packing.pack(large) + packing.pack("end") + packing.pack(large)), large + "end" + large);
  }
}

TEST_F(InputBytesTest, FramesWithoutContentArePassedOver) {
  const std::string skippable(
      "\x57\x2A\x4D\x18\x03\x00\x00\x00"
      "abc",
      11);
  EXPECT_EQ(contentOf(skippable + zstdOf("ab\n") + skippable + zstdOf("cd\n")), "ab\ncd\n");
  EXPECT_EQ(InputBytes(folder.path("in")).getCompression(), Compression::Zstd);
  EXPECT_EQ(contentOf(skippable), "");
  EXPECT_THAT(failureOf(skippable.substr(0, 9)), HasSubstr("the zstd data ends too early"));
}

TEST_F(InputBytesTest, APackedFileInAPackedFileStaysPacked) {
  EXPECT_EQ(contentOf(gzipOf(zstdOf("x"))), zstdOf("x"));
  EXPECT_EQ(contentOf(zstdOf(gzipOf("x"))), gzipOf("x"));
}

TEST_F(InputBytesTest, ACutFileIsRefusedAtEveryLength) {
  for (const Packing& packing : packings()) {
    const std::string packed = packing.pack(manyBytes(300));
    const std::string two = packed + packed;
    // Below the length of its mark a file is not known as packed.
    for (std::size_t size = packing.compression == Compression::Gzip ? 2 : 4; size < two.size(); ++size) {
      if (size == packed.size()) continue;
      EXPECT_THAT(failureOf(two.substr(0, size)),
                  StartsWith(folder.path("in") + ": the " + packing.name + " data ends too early, near byte "))
          << size;
    }
  }
}

TEST_F(InputBytesTest, ADamagedFileIsRefused) {
  for (const Packing& packing : packings()) {
    const std::string text = manyBytes(200'000);
    std::string packed = packing.pack(text);
    packed[packed.size() / 2] ^= 1;
    EXPECT_THAT(failureOf(packed),
                StartsWith(folder.path("in") + ": the " + packing.name + " data is damaged, near byte "));
    // The check sum is in the last bytes: of gzip before the length.
    packed = packing.pack(text);
    packed[packed.size() - (packing.compression == Compression::Gzip ? 5 : 1)] ^= 1;
    EXPECT_THAT(failureOf(packed), HasSubstr(std::string(packing.name) + " data is damaged"));
  }
}

TEST_F(InputBytesTest, NoChangeOfOneByteGivesOtherContent) {
  const std::string text = manyBytes(200);
  for (const Packing& packing : packings()) {
    const std::string packed = packing.pack(text);
    for (std::size_t i = packing.compression == Compression::Gzip ? 2 : 4; i < packed.size(); ++i) {
      std::string changed = packed;
      changed[i] ^= 0x10;
      try {
        InputBytes input(folder.write("in", changed));
        // A change in the time or the system of a gzip header changes nothing.
        EXPECT_EQ(readAll(input, 1000), text) << packing.name << " " << i;
      } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), StartsWith(folder.path("in") + ": the " + packing.name + " data "));
      }
    }
  }
}

TEST_F(InputBytesTest, OtherBytesAfterPackedOnesAreRefused) {
  for (const Packing& packing : packings()) {
    for (const std::string& tail : {std::string("x"), std::string("plain text\n"), std::string(8, '\0')}) {
      EXPECT_THAT(failureOf(packing.pack("text\n") + tail),
                  StartsWith(folder.path("in") + ": the " + packing.name + " data "));
    }
  }
  EXPECT_THAT(failureOf(gzipOf("text\n") + zstdOf("text\n")), HasSubstr("the gzip data is damaged"));
  EXPECT_THAT(failureOf(zstdOf("text\n") + gzipOf("text\n")), HasSubstr("the zstd data is damaged"));
}

TEST_F(InputBytesTest, ReadsAPipeThatComesInPieces) {
  const std::string packed = gzipOf("1 2 3\n") + gzipOf("4 5 6\n");
  for (const std::string& bytes : {packed, zstdOf("1 2 3\n4 5 6\n"), std::string("1 2 3\n4 5 6\n")}) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe(ends), 0);
    Descriptor reader(ends[0], "the pipe");
    std::thread writing([&] {
      const Descriptor writer(ends[1], "the other end");
      for (const char byte : bytes) writer.write(std::string_view(&byte, 1));
    });
    InputBytes input(std::move(reader));
    EXPECT_EQ(readAll(input, 5), "1 2 3\n4 5 6\n");
    writing.join();
  }
}

TEST_F(InputBytesTest, AHyphenIsStandardInput) {
  const Descriptor file = Descriptor::openToRead(folder.write("in", gzipOf("1 2 3\n")));
  const int before = ::dup(STDIN_FILENO);
  ASSERT_GE(before, 0);
  ASSERT_EQ(::dup2(file.get(), STDIN_FILENO), STDIN_FILENO);
  std::string text;
  {
    InputBytes input("-");
    text = readAll(input, 100);
  }
  EXPECT_NE(::fcntl(STDIN_FILENO, F_GETFD), -1) << "standard input was closed";
  ASSERT_EQ(::dup2(before, STDIN_FILENO), STDIN_FILENO);
  ::close(before);
  EXPECT_EQ(text, "1 2 3\n");
}

TEST_F(InputBytesTest, AFileThatCannotBeReadIsNamed) {
  for (const std::string& path : {folder.path("none"), folder.path()}) {
    try {
      InputBytes input(path);
      ADD_FAILURE() << path;
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), StartsWith(path + ": cannot "));
    }
  }
}

}  // namespace
}  // namespace vesk_files
