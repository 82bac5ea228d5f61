// Binary streams and files that replace others.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <limits>

#include "inpout_scratch.h"
#include "support/error_of.h"
#include "zel/inpout/binstream.h"
#include "zel/inpout/iomem.h"
#include "zel/inpout/replacing_file.h"

namespace {

using namespace zel::inpout;
using namespace std::string_literals;

class binary_streams : public testing::Test {
 protected:
  binary_streams() { memory.open(16); }
  std::string written() const { return std::string(memory.bytes()); }
  void rewind() { memory.lseek(0, SEEK_SET); }

  iomem memory;
  obinstream out{&memory, /*owns=*/false};
  ibinstream in{&memory, /*owns=*/false};
};

TEST_F(binary_streams, have_one_form_for_each_item) {
  const long double extended = 1.0L;
  out << true << 'x' << static_cast<unsigned short>(0x0102) << -2 << 0x0102030405060708UL << 1.0f
      << -2.0 << extended << static_cast<const char*>(nullptr) << "abc"
      << "a\0b"s;
  const short array[] = {1, -1};
  out.write_array(std::span<const short>(array));
  EXPECT_EQ(written(),
            "\x01"
            "x"
            "\x02\x01"
            "\xfe\xff\xff\xff"
            "\x08\x07\x06\x05\x04\x03\x02\x01"
            "\0\0\x80\x3f"
            "\0\0\0\0\0\0\0\xc0"
            "\0\0\0\0\0\0\0\x80\xff\x3f\0\0\0\0\0\0"
            "\0"
            "\x01\x03\0\0\0\0\0\0\0abc"
            "\x01\x03\0\0\0\0\0\0\0a\0b"
            "\x01\0\xff\xff"s);

  rewind();
  bool flag = false;
  char letter = 0;
  unsigned short small = 0;
  int whole = 0;
  unsigned long large = 0;
  float single = 0;
  double twofold = 0;
  long double longest = 0;
  std::string none = "x", text, cut;
  in >> flag >> letter >> small >> whole >> large >> single >> twofold >> longest >> none >> text >>
      cut;
  EXPECT_TRUE(flag && letter == 'x' && small == 0x0102 && whole == -2);
  EXPECT_TRUE(large == 0x0102030405060708UL && single == 1 && twofold == -2 && longest == 1);
  EXPECT_EQ(none, "");
  EXPECT_EQ(text, "abc");
  EXPECT_EQ(cut, "a") << "up to its first NUL";
  EXPECT_EQ(in.read_array<short>(2), (std::vector<short>{1, -1}));
  in.require_end();
}

TEST_F(binary_streams, refuse_an_input_that_ends_early_whatever_it_promises) {
  constexpr unsigned long k_huge = std::numeric_limits<unsigned long>::max();
  out << true << k_huge << 'x';
  rewind();
  std::string text;
  EXPECT_EQ(error_of([&] { in >> text; }), "truncated after byte 10");
  rewind();
  EXPECT_EQ(error_of([&] { in.read_array<double>(k_huge / 8); }), "truncated after byte 20");
  rewind();
  EXPECT_EQ(error_of([&] { in.skip(k_huge); }), "truncated after byte 30");
  rewind();
  EXPECT_NE(error_of([&] { in.require_end(); }), "");
}

TEST_F(binary_streams, take_nothing_but_0_and_1_for_a_flag) {
  out << '\x02';
  rewind();
  EXPECT_EQ(error_of([&] { in.read_presence(); }), "no flag at byte 1");
}

TEST(binary_file, that_cannot_be_opened_is_named) {
  for (const bool compressed : {true, false}) {
    EXPECT_EQ(error_of([&] { ibinstream in("no/such/file", compressed); }),
              "File: no/such/file: No such file or directory");
  }
}

unsigned long n_files(const scratch::folder& files) {
  const std::filesystem::directory_iterator all(files.at(""));
  return static_cast<unsigned long>(std::distance(begin(all), end(all)));
}

TEST(replacing_file, puts_the_new_file_in_place_when_it_is_whole) {
  const scratch::folder files;
  const std::string name = files.put("model", "old"), link = files.at("link");
  chmod(name.c_str(), 0640);
  ASSERT_EQ(symlink("model", link.c_str()), 0);
  {
    replacing_file unfinished(link);
    std::ofstream(unfinished.path()) << "half";
    EXPECT_EQ(scratch::content_of(name), "old");
  }
  EXPECT_EQ(scratch::content_of(name), "old");
  EXPECT_EQ(n_files(files), 2u) << "nothing is left of it";

  replacing_file finished(link);
  std::ofstream(finished.path()) << "new";
  finished.commit();
  EXPECT_EQ(scratch::content_of(name), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(std::filesystem::status(name).permissions(), std::filesystem::perms(0640));
  EXPECT_EQ(n_files(files), 2u);
}

TEST(replacing_file, takes_the_longest_name_and_leaves_devices_alone) {
  const scratch::folder files;
  const std::string longest = files.at(std::string(255, 'n'));
  replacing_file file(longest);
  file.commit();
  EXPECT_TRUE(std::filesystem::exists(longest));
  EXPECT_EQ(replacing_file("/dev/null").path(), "/dev/null");
  EXPECT_EQ(error_of([&] { replacing_file gone(files.at("no/such/folder")); }),
            "No such file or directory");
}

}  // namespace
