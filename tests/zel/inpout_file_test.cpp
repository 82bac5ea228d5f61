#include <fcntl.h>
// Files, processes and memory as connections, and the tokens of a line.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>

#include "inpout_scratch.h"
#include "zel/inpout/iofile.h"
#include "zel/inpout/iomem.h"
#include "zel/inpout/sys.h"
#include "zel/inpout/tokenizer.h"

namespace {

using zel::inpout::ioconn;
using zel::inpout::iofile;
using zel::inpout::iomem;

TEST(default_input, takes_gzip_by_name_and_names_what_fails) {
  const scratch::folder files;
  for (const std::string name : {"gz", "data.GZ", "data.gz.txt"}) {
    const std::unique_ptr<ioconn> in(ioconn::get_default_input(files.put(name, "plain")));
    EXPECT_EQ(in->get_mode(), 19) << name;
    EXPECT_EQ(scratch::drain(*in), "plain");
    EXPECT_EQ(in->name(), files.at(name));
  }
  std::filesystem::create_directory(files.at("folder"));
  const auto error = [&](const std::string& name) { return scratch::read_file(name).error; };
  EXPECT_EQ(error(files.at("none")), "File: " + files.at("none") + " not found or inaccessible");
  EXPECT_EQ(error(""), "File:  not found or inaccessible");
  EXPECT_EQ(error(files.at("folder")),
            "File: " + files.at("folder") + " cannot be read: Is a directory");
}

TEST(default_output, starts_a_plain_file_anew) {
  const scratch::folder files;
  const std::string name = files.put("out.gz", "something longer");
  {
    const std::unique_ptr<ioconn> out(ioconn::get_default_output(name));
    EXPECT_EQ(out->get_mode(), 100);
    out->writeln("text");
    EXPECT_EQ(out->size(), 5) << "with what is still buffered";
  }
  EXPECT_EQ(scratch::content_of(name), "text\n");
  EXPECT_EQ(error_of([&] { delete ioconn::get_default_output(files.at("no/file")); }),
            "Cannot open/create " + files.at("no/file"));
}

TEST(system_calls, connect_to_a_child_process) {
  using namespace zel::inpout;
  const char* const echo[] = {"cat", nullptr};
  ioconn* ends[2] = {};
  ASSERT_TRUE(sys::popen(ends, "cat", echo, sys::popen_output | sys::popen_input));
  std::unique_ptr<ioconn> output(ends[0]);
  std::unique_ptr<ioconn> input(ends[1]);
  EXPECT_EQ(input->writeln("there and back"), 15);
  input.reset();
  EXPECT_EQ(scratch::drain(*output), "there and back\n");

  ASSERT_TRUE(sys::popen(ends, "no such command", echo, sys::popen_output));
  output.reset(ends[0]);
  EXPECT_EQ(ends[1], nullptr);
  EXPECT_EQ(scratch::drain(*output), "");
}

TEST(system_calls, make_fifos_that_read_as_files) {
  const scratch::folder files;
  const std::string name = files.at("fifo");
  ASSERT_TRUE(zel::inpout::sys::mkfifo(name.c_str(), 0600));
  EXPECT_FALSE(zel::inpout::sys::mkfifo(name.c_str(), 0600)) << "it exists";
  EXPECT_TRUE(iofile::is_pipe(name.c_str()));
  EXPECT_FALSE(iofile::is_pipe(files.put("file", "").c_str()));
  std::thread writer([&] { std::ofstream(name) << "a\n" << std::flush << "b"; });
  EXPECT_EQ(scratch::read_file(name).lines, (std::vector<std::string>{"a", "b"}));
  writer.join();
}

TEST(memory_connection, of_the_caller_does_not_grow) {
  char room[4] = {'a', 'b', 'c', 'd'};
  iomem conn;
  ASSERT_TRUE(conn.open(room, 4, 2));
  EXPECT_EQ(scratch::drain(conn), "ab") << "only the used bytes are data";
  EXPECT_EQ(conn.write("xyz", 0), 0);
  EXPECT_EQ(error_of([&] { conn.write("xyz", 3); }), "iomem buffer size exceeded");
  EXPECT_EQ(conn.size(), 2);
  EXPECT_EQ(conn.write("xy", 2), 2);
  EXPECT_EQ(std::string(room, 4), "abxy");
  EXPECT_EQ(conn.get_mode(), 6);
  conn.close();
  EXPECT_FALSE(conn.is_open());
  EXPECT_EQ(conn.read(room, 4), 0);
}

TEST(memory_connection, takes_an_offset_before_the_start_for_one_past_all_memory) {
  iomem owned;
  owned.open(10);
  owned.write("abc", 3);
  EXPECT_EQ(error_of([&] { owned.lseek(-4, SEEK_CUR); }), "Out of memory");
  EXPECT_EQ(error_of([&] { owned.open(1UL << 63); }), "Out of memory");
}

using zel::util::tokenizer;

std::vector<std::string> tokens_of(tokenizer& splitter) {
  std::vector<std::string> tokens;
  while (splitter.more()) tokens.emplace_back(splitter.next());
  return tokens;
}

struct sample {
  const char* text;
  char separator;
  bool trim;
  std::vector<std::string> tokens;
};

TEST(tokenizer_splits, in_place_and_in_a_copy_alike) {
  const std::vector<sample> samples = {
      {"a,,b", ',', false, {"a", "", "b"}},
      {"", ',', false, {""}},
      {"a,", ',', false, {"a", ""}},
      {",", ',', true, {"", ""}},
      {" a b , c ", ',', false, {" a b ", " c "}},
      {" a b , c ", ',', true, {"a b", "c"}},
      {"   ", ',', true, {""}},
      {"a,   ,b", ',', true, {"a", "", "b"}},
      {"\ta\t b", '\t', true, {"", "a", "b"}},
      {"\xe9;\xff", ';', true, {"\xe9", "\xff"}},
  };
  for (const sample& row : samples) {
    for (const bool in_place : {true, false}) {
      SCOPED_TRACE(std::string(row.text) + (in_place ? " in place" : " copied"));
      std::string text = row.text;
      tokenizer splitter;
      splitter.set_trim(row.trim);
      splitter.tokenizing(text.data(), row.separator, in_place);
      EXPECT_EQ(tokens_of(splitter), row.tokens);
      EXPECT_STREQ(splitter.next(), "") << "past the last token";
      if (!in_place) {
        EXPECT_EQ(text, row.text) << "the original is left alone";
      }
    }
  }
}

}  // namespace
