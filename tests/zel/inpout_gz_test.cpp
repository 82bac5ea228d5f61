#include <gtest/gtest.h>
#include <zlib.h>

#include <memory>
#include <stdexcept>
#include <utility>

#include "inpout_scratch.h"
#include "zel/inpout/iobuf.h"
#include "zel/inpout/iogunzip.h"
#include "zel/inpout/iogz.h"
#include "zel/inpout/iogzip.h"

namespace {

using scratch::gzipped;
using scratch::read_file;
using zel::inpout::ioconn;
using zel::inpout::iogunzip;
using zel::inpout::iogz;
using namespace std::string_literals;

/// Lines that compress badly, so that members span many bytes.
std::string noisy_lines(unsigned count, unsigned seed) {
  std::string text;
  for (unsigned i = 0; i < count; ++i) {
    seed = seed * 1664525 + 1013904223;
    text += std::to_string(seed) + "\n";
  }
  return text;
}

/// The same member under a header with all that a header may have.
std::string with_full_header(const std::string& member) {
  constexpr std::size_t k_plain_header = 10;
  std::string header = member.substr(0, k_plain_header);
  header[3] = 0x1e;
  header += "\5\0extra"s + "a name\0"s + "and a comment\0"s;
  const uLong sum =
      crc32(0, reinterpret_cast<const Bytef*>(header.data()), static_cast<uInt>(header.size()));
  header += {static_cast<char>(sum & 0xff), static_cast<char>(sum >> 8 & 0xff)};
  return header + member.substr(k_plain_header);
}

// Wherever the pieces that come from the file end: in a header, in a block, between members.
TEST(gzip_input, is_the_same_in_pieces_of_any_size) {
  const scratch::folder files;
  const std::string first = noisy_lines(200, 1), second = noisy_lines(3, 2);
  const std::string members = gzipped(files, first) + gzipped(files, "") + gzipped(files, second);
  const std::string named = with_full_header(gzipped(files, second));
  for (const unsigned piece : {2U, 3U, 5U, 8U, 13U, 1000U, 100000U}) {
    for (const auto& [content, text] :
         {std::pair(members, first + second), std::pair(members + "no member", first + second),
          std::pair(first, first), std::pair(named + named, second + second),
          std::pair("\x1f"s, "\x1f"s)}) {
      iogunzip in(piece);
      ASSERT_TRUE(in.open(files.put("pieces", content)));
      ASSERT_EQ(in.is_compressed(), content.starts_with("\x1f\x8b"));
      ASSERT_EQ(scratch::drain(in, 17), text) << "in pieces of " << piece;
      ASSERT_TRUE(in.eof());
    }
  }
}

// A change in the header may be of no consequence; elsewhere it is never taken for good data.
TEST(gzip_input, changed_anywhere_is_never_other_data) {
  const scratch::folder files;
  const std::string text = noisy_lines(50, 3), whole = gzipped(files, text);
  char byte;
  for (std::size_t at = 2; at < whole.size(); ++at) {
    std::string changed = whole;
    changed[at] ^= 16;
    iogunzip in;
    ASSERT_TRUE(in.open(files.put("changed", changed)));
    const std::string got = scratch::drain(in);
    ASSERT_TRUE(got == text || in.read(&byte, 1) == -1) << "byte " << at;
    ASSERT_TRUE(in.error().empty() || in.error().starts_with("damaged gzip data: ") ||
                in.error() == "truncated gzip data")
        << in.error();
  }
}

TEST(gzip_input, cut_anywhere_is_an_error_and_never_the_end) {
  const scratch::folder files;
  const std::string first = gzipped(files, noisy_lines(40, 1));
  const std::string whole = first + gzipped(files, noisy_lines(40, 2));
  const std::string name = files.at("cut.gz");
  for (std::size_t length = 0; length < whole.size(); ++length) {
    // A cut between the members leaves a good file, and one byte more is trailing garbage.
    if (length == first.size() || length == first.size() + 1) continue;
    files.put("cut.gz", whole.substr(0, length));
    const scratch::reading got = read_file(name);
    const std::string error = length < 2 ? "File: " + name + " is not in gzip format"
                                         : "File: " + name + " cannot be read: truncated gzip data";
    ASSERT_EQ(got.error, error) << "cut at " << length;
  }
  files.put("cut.gz", whole);
  EXPECT_EQ(read_file(name).lines.size(), 80UL);
}

// What is read ahead on another thread is dropped by a seek, and its errors come in their place.
TEST(gzip_input, read_ahead_is_what_a_reader_without_it_gets) {
  const scratch::folder files;
  const std::string text = noisy_lines(300000, 4);
  const std::string whole = gzipped(files, text);
  files.put("long.gz", whole);
  const std::unique_ptr<ioconn> in(ioconn::get_default_input(files.at("long.gz")));
  std::string part(700000, '\0');
  for (const long at : {2000000L, 0L, 1999999L, 2500000L, 3L}) {
    ASSERT_EQ(in->lseek(at, SEEK_SET), at);
    for (long done = at, got; done < at + 1000000 && (got = in->read(part.data(), 700000)) > 0;) {
      ASSERT_EQ(part.substr(0, static_cast<std::size_t>(got)),
                text.substr(static_cast<std::size_t>(done), static_cast<std::size_t>(got)));
      done += got;
      ASSERT_EQ(in->tell(), done);
    }
  }
  EXPECT_TRUE(in->rewind());
  EXPECT_EQ(scratch::drain(*in, 700000), text);
  EXPECT_TRUE(in->eof());

  files.put("cut.gz", whole.substr(0, whole.size() - 9));
  const std::unique_ptr<ioconn> cut(ioconn::get_default_input(files.at("cut.gz")));
  EXPECT_EQ(scratch::drain(*cut, 700000), text.substr(0, text.size()));
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(cut->read(part.data(), 1), -1);
    EXPECT_EQ(cut->error(), "truncated gzip data");
  }
}

TEST(gzip_input, cannot_tell_where_it_ends) {
  const scratch::folder files;
  iogunzip in;
  ASSERT_TRUE(in.open(files.put("short", gzipped(files, "short"))));
  EXPECT_EQ(error_of([&] { in.lseek(0, SEEK_END); }), "iogz::lseek LSEEK_END not supported");
  EXPECT_EQ(error_of([&] { static_cast<void>(in.size()); }), "iogz::lseek LSEEK_END not supported");
  EXPECT_EQ(error_of([&] { in.lseek(1, 3); }), "iogz::lseek position not supported");
  EXPECT_EQ(in.lseek(1, SEEK_SET), 1);
  EXPECT_EQ(in.lseek(1, SEEK_CUR), 2);
  EXPECT_EQ(scratch::drain(in), "ort");
}

TEST(gzip_connection, throws_large_transfers_by_pointer) {
  iogz file;
  const auto error = [](const std::function<void()>& action) -> std::string {
    try {
      action();
    } catch (const std::runtime_error* raw) {
      const std::unique_ptr<const std::runtime_error> owned(raw);
      return owned->what();
    }
    return {};
  };
  char byte = 0;
  EXPECT_EQ(error([&] { file.read(&byte, 4294967296); }), "iogz::read cannot handle large reads");
  EXPECT_EQ(error([&] { file.write(&byte, 4294967296); }),
            "iogz::write cannot handle large writes");
  EXPECT_EQ(file.read(&byte, 4294967295), -1) << "allowed, but nothing is open";
}

TEST(gzip_connection, remembers_that_a_full_disk_lost_bytes_as_does_a_buffer_over_it) {
  for (const std::string& text : {std::string("short"), noisy_lines(100000, 3)}) {
    iogz file;
    ASSERT_TRUE(file.open("/dev/full", 100, 1, Z_DEFAULT_STRATEGY));
    zel::inpout::iobuf buffer;
    ASSERT_TRUE(buffer.open(&file, false, 1000));
    buffer.write(text.data(), static_cast<long>(text.size()));
    buffer.close();
    for (const ioconn* conn : {static_cast<ioconn*>(&file), static_cast<ioconn*>(&buffer)}) {
      EXPECT_TRUE(conn->failed());
      EXPECT_EQ(conn->error(), "No space left on device");
    }
  }
}

// Sizes around those of the parts, and of what is packed at a time.
TEST(gzip_output, is_one_member_and_the_same_by_any_number_of_workers) {
  const scratch::folder files;
  const std::string text = noisy_lines(500000, 4);
  for (const std::size_t size : {0, 1, (1 << 18) - 1, 1 << 18, (1 << 18) + 1, 1 << 22, 5000000}) {
    std::string by_one;
    for (const unsigned workers : {1U, 3U}) {
      zel::inpout::iogzip out(workers);
      ASSERT_TRUE(out.open(files.put("packed", "")));
      for (std::size_t at = 0; at < size; at += 99999) {
        const std::size_t piece = std::min<std::size_t>(99999, size - at);
        ASSERT_EQ(out.write(text.data() + at, static_cast<long>(piece)), static_cast<long>(piece));
      }
      out.close();
      ASSERT_FALSE(out.failed());
      const std::string packed = scratch::content_of(files.at("packed"));
      if (workers == 1) by_one = packed;
      ASSERT_TRUE(packed == by_one);
    }
    ASSERT_LT(by_one.size(), size * 2 / 3 + 40);
    iogz in;  // by zlib, which checks sum and length
    ASSERT_TRUE(in.open(files.at("packed"), 2, 1, Z_DEFAULT_STRATEGY));
    ASSERT_TRUE(scratch::drain(in) == text.substr(0, size)) << size;
  }
  zel::inpout::iogzip full(2);
  ASSERT_TRUE(full.open("/dev/full"));
  full.write("lost", 4);
  full.close();
  EXPECT_EQ(full.error(), "No space left on device");
}

}  // namespace
