#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>

#include "inpout_scratch.h"
#include "zel/inpout/iofile.h"
#include "zel/inpout/sys.h"

namespace {

using zel::inpout::ioconn;
using zel::inpout::iofile;

struct opening {
  int mode;
  bool opens_missing;
  const char* after_write;  // content of a file "old" after opening and writing "N"
};

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

}  // namespace
