#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "inpout_scratch.h"
#include "zel/inpout/iobuf.h"
#include "zel/inpout/iofile.h"
#include "zel/inpout/iomem.h"

namespace {

using zel::inpout::iobuf;
using zel::inpout::ioconn;
using zel::inpout::iofile;
using zel::inpout::iomem;

/// One random operation; what it gave, as text.
std::string random_step(ioconn& conn, unsigned pick, unsigned amount) {
  std::string bytes(amount, static_cast<char>('a' + amount % 26));
  const long count = amount;
  switch (pick % 7) {
    case 0:
    case 1:
      return "write " + std::to_string(conn.write(bytes.data(), count));
    case 2:
    case 3: {
      long got = 0;  // a short count is not the end
      for (long more; (more = conn.read(bytes.data() + got, count - got)) > 0;) got += more;
      return "read " + bytes.substr(0, static_cast<std::size_t>(got));
    }
    case 4:
      return "seek " + std::to_string(conn.lseek(count, SEEK_SET));
    case 5:
      return "back " + std::to_string(conn.lseek(-static_cast<long>(amount % 50), SEEK_CUR));
    default:
      return "rewind " + std::to_string(amount % 5 == 0 ? conn.rewind() : 7);
  }
}

TEST(buffer, behaves_as_the_file_beneath_it) {
  const scratch::folder files;
  std::mt19937 random(7);
  for (unsigned round = 0; round < 20; ++round) {
    iofile plain;
    iofile inner;
    ASSERT_TRUE(plain.open(files.at("plain"), 102, 0644));
    ASSERT_TRUE(inner.open(files.at("buffered"), 102, 0644));
    iobuf buffer;
    ASSERT_TRUE(buffer.open(&inner, false, 1000));
    for (unsigned step = 0; step < 200; ++step) {
      const unsigned pick = static_cast<unsigned>(random());
      const unsigned amount = random() % (step % 10 == 0 ? 4000 : 300);
      ASSERT_EQ(random_step(buffer, pick, amount), random_step(plain, pick, amount));
      ASSERT_EQ(buffer.tell(), plain.tell());
      ASSERT_EQ(buffer.size(), plain.size());
    }
    buffer.close();
    ASSERT_FALSE(buffer.failed());
    ASSERT_EQ(scratch::content_of(files.at("buffered")), scratch::content_of(files.at("plain")));
  }
}

/// Output that takes three bytes a call and none past `room`.
class narrow_output : public iomem {
 public:
  explicit narrow_output(long room) : room_(room) { iomem::open(10); }
  long write(const void* bytes, long count) override {
    return iomem::write(bytes, std::min({count, 3L, room_ - iomem::size()}));
  }

 private:
  long room_;
};

TEST(buffer, remembers_an_output_that_ran_full) {
  const std::string text(700, 'x');
  for (const unsigned writes : {1U, 2U, 5U}) {
    narrow_output inner(600);
    iobuf buffer;
    buffer.open(&inner, false, 1000);
    for (unsigned i = 0; i < writes; ++i) buffer.write(text.data(), 700);
    buffer.close();
    EXPECT_TRUE(buffer.failed());
    EXPECT_EQ(buffer.error(), "the write fell short");
    buffer.open(&inner, false, 1000);
    EXPECT_FALSE(buffer.failed()) << "a new use starts clean";
  }
}

TEST(buffer, reports_a_full_disk_when_closed) {
  const std::unique_ptr<ioconn> out(ioconn::get_default_output("/dev/full"));
  EXPECT_EQ(out->write("some text", 9), 9);
  out->close();
  EXPECT_TRUE(out->failed());
  EXPECT_EQ(out->error(), "No space left on device");
}

}  // namespace
