#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "inpout_scratch.h"
#include "zel/inpout/iobuf.h"
#include "zel/inpout/iogz.h"

namespace {

using scratch::gzipped;
using scratch::read_file;
using zel::inpout::ioconn;
using zel::inpout::iogz;

/// Lines that compress badly, so that members span many bytes.
std::string noisy_lines(unsigned count, unsigned seed) {
  std::string text;
  for (unsigned i = 0; i < count; ++i) {
    seed = seed * 1664525 + 1013904223;
    text += std::to_string(seed) + "\n";
  }
  return text;
}

TEST(gzip_input, is_read_to_the_end_of_its_last_member) {
  const scratch::folder files;
  const std::string first = noisy_lines(30000, 1);
  const std::string second = noisy_lines(5, 2);
  files.put("two.gz", gzipped(files, first) + gzipped(files, second));
  const std::unique_ptr<ioconn> in(ioconn::get_default_input(files.at("two.gz")));
  EXPECT_EQ(scratch::drain(*in, 100001), first + second);
  EXPECT_TRUE(in->eof());
  EXPECT_TRUE(in->rewind());
  EXPECT_EQ(scratch::drain(*in), first + second);
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

TEST(gzip_input, with_a_damaged_byte_tells_what_is_wrong) {
  const scratch::folder files;
  std::string bytes = gzipped(files, noisy_lines(40, 1));
  bytes[bytes.size() - 8] ^= 1;  // in the checksum
  const std::string name = files.put("bad.gz", bytes);
  EXPECT_EQ(read_file(name).error,
            "File: " + name + " cannot be read: damaged gzip data: incorrect data check");
}

TEST(gzip_input, must_be_gzip) {
  const scratch::folder files;
  std::filesystem::create_directory(files.at("folder.gz"));
  files.put("text.gz", "a,b\nc,d\n");
  files.put("empty.gz", "");
  const auto error = [&](const std::string& name) { return read_file(files.at(name)).error; };
  const auto file = [&](const std::string& name) { return "File: " + files.at(name); };
  EXPECT_EQ(error("text.gz"), file("text.gz") + " is not in gzip format");
  EXPECT_EQ(error("empty.gz"), file("empty.gz") + " is not in gzip format");
  EXPECT_EQ(error("folder.gz"), file("folder.gz") + " cannot be read: Is a directory");
  EXPECT_EQ(error("none.gz"), file("none.gz") + " not found or inaccessible");
  files.put("nothing.gz", gzipped(files, ""));
  EXPECT_EQ(error("nothing.gz"), "") << "an empty text, compressed, is an empty input";
}

TEST(gzip_connection, seeks_forward_and_back_but_not_from_the_end) {
  const scratch::folder files;
  files.put("digits.gz", gzipped(files, "0123456789"));
  const std::unique_ptr<ioconn> in(ioconn::get_default_input(files.at("digits.gz")));
  EXPECT_EQ(in->get_mode(), 3);
  EXPECT_TRUE(in->is_random());
  EXPECT_EQ(in->lseek(7, SEEK_SET), 7);
  EXPECT_EQ(scratch::drain(*in), "789");
  EXPECT_EQ(in->lseek(-8, SEEK_CUR), 2);
  EXPECT_EQ(in->tell(), 2);
  EXPECT_EQ(scratch::drain(*in), "23456789");
  const auto error = [&](int whence) { return error_of([&] { in->lseek(0, whence); }); };
  EXPECT_EQ(error(SEEK_END), "iogz::lseek LSEEK_END not supported");
  EXPECT_EQ(error(3), "iogz::lseek position not supported");
  EXPECT_EQ(error_of([&] { in->size(); }), "iogz::lseek LSEEK_END not supported");
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

TEST(gzip_connection, appends_a_member_and_keeps_the_mode_until_closed) {
  const scratch::folder files;
  iogz file;
  ASSERT_TRUE(file.open(files.at("x.gz"), 100, -1, Z_DEFAULT_STRATEGY));
  EXPECT_EQ(file.get_mode(), 100);
  EXPECT_EQ(file.writeln("one"), 4);
  ASSERT_TRUE(file.open(files.at("x.gz"), 12, 9, Z_DEFAULT_STRATEGY));
  EXPECT_EQ(file.write("two", 3), 3);
  file.close();
  EXPECT_FALSE(file.is_open());
  EXPECT_EQ(file.get_mode(), 0);
  EXPECT_EQ(read_file(files.at("x.gz")).lines, (std::vector<std::string>{"one", "two"}));
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

}  // namespace
