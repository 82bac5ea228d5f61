#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <memory>
#include <thread>

#include "inpout_scratch.h"
#include "zel/inpout/iofile.h"
#include "zel/inpout/iomem.h"
#include "zel/inpout/sys.h"

namespace {

using zel::inpout::ioconn;
using zel::inpout::iofile;

struct opening {
  int mode;
  bool opens_missing;
  const char* after_write;  // content of a file "old" after opening and writing "N"
};

TEST(file_connection, opens_as_its_mode_bits_say) {
  const scratch::folder files;
  for (const opening& row :
       {opening{0, false, "old"}, opening{2, false, "old"}, opening{19, false, "old"},
        opening{4, false, "Nld"}, opening{6, false, "Nld"}, opening{12, false, "oldN"},
        opening{36, true, "Nld"}, opening{100, true, "N"}, opening{102, true, "N"}}) {
    SCOPED_TRACE(row.mode);
    iofile file;
    EXPECT_EQ(file.open(files.at("missing"), row.mode, 0600), row.opens_missing);
    std::filesystem::remove(files.at("missing"));
    files.put("file", "old");
    ASSERT_TRUE(file.open(files.at("file"), row.mode, 0600));
    EXPECT_EQ(file.get_mode(), row.mode);
    const bool writes = row.mode & 4;
    EXPECT_EQ(file.write("N", 1), writes ? 1 : -1);
    EXPECT_EQ(file.failed(), !writes);
    file.close();
    EXPECT_EQ(file.get_mode(), 0);
    EXPECT_EQ(scratch::content_of(files.at("file")), row.after_write);
  }
}

TEST(file_connection, says_why_it_cannot) {
  const scratch::folder files;
  iofile file;
  char byte = 0;
  EXPECT_TRUE(file.open_mmap(files.at("missing"), 2, 0)) << "unlike open()";
  EXPECT_FALSE(file.is_open());
  EXPECT_FALSE(file.open(-1));
  EXPECT_EQ(error_of([&] { file.size(); }), "iofile::size(): cannot access file size.");
  EXPECT_EQ(file.read(&byte, 1), -1);
  EXPECT_EQ(file.error(), "Bad file descriptor");
  EXPECT_EQ(file.resize(3), 0);

  ASSERT_TRUE(file.open(files.put("file", "text"), 2, 0));
  EXPECT_EQ(file.error(), "");
  EXPECT_EQ(file.lseek(0, 3), -1);
  EXPECT_EQ(file.resize(1), -1) << "not open for writing";
}

TEST(file_connection, resizes_and_keeps_its_position) {
  const scratch::folder files;
  iofile file;
  ASSERT_TRUE(file.open(files.put("file", "0123456789"), 6, 0));
  file.lseek(4, SEEK_SET);
  EXPECT_EQ(file.resize(10), 1);
  EXPECT_EQ(file.resize(12), 1);
  EXPECT_EQ(file.tell(), 4);
  EXPECT_EQ(scratch::content_of(files.at("file")), std::string("0123456789\0\0", 12));
  EXPECT_EQ(file.resize(2), 1);
  EXPECT_EQ(file.size(), 2);
  EXPECT_EQ(file.resize(-1), 0);
}

TEST(file_connection, copies_all_or_some_of_another) {
  const scratch::folder files;
  const std::string text(150000, 'c');
  iofile from;
  iofile to;
  ASSERT_TRUE(from.open(files.put("from", "head" + text), 2, 0));
  ASSERT_TRUE(to.open(files.at("to"), 100, 0644));
  EXPECT_EQ(to.copy(from, 0), 0);
  EXPECT_EQ(to.copy(from, 4), 4);
  EXPECT_EQ(to.copy(from), 150000);
  EXPECT_EQ(to.copy(from, 10), 0);
  EXPECT_EQ(scratch::content_of(files.at("to")), "head" + text);

  iofile full;
  ASSERT_TRUE(full.open("/dev/full", 4, 0));
  from.rewind();
  EXPECT_EQ(full.copy(from, 100), 0);
  EXPECT_TRUE(full.failed());
}

TEST(file_connection, maps_its_bytes) {
  const scratch::folder files;
  iofile file;
  ASSERT_TRUE(file.open_mmap(files.put("file", "mapped"), 6, 0));
  auto* const bytes = static_cast<char*>(file.mem_map(0, 6));
  ASSERT_NE(static_cast<void*>(bytes), MAP_FAILED);
  bytes[0] = 'M';
  EXPECT_TRUE(file.mem_sync(bytes, 6));
  EXPECT_TRUE(file.mem_unmap(bytes, 6));
  EXPECT_TRUE(file.mem_unmap(nullptr, 6));
  EXPECT_EQ(scratch::content_of(files.at("file")), "Mapped");
  EXPECT_EQ(file.mem_map(1, 6), MAP_FAILED) << "not on a page border";
  EXPECT_EQ(iofile::allocation_granularity() % 4096, 0UL);
}

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

TEST(system_calls, tell_the_memory_of_the_host) {
  using namespace zel::inpout;
  EXPECT_GT(sys::phys_available_ram(), 0);
  EXPECT_GE(sys::phys_total_ram(), sys::phys_available_ram());
  EXPECT_EQ(sys::process_free_ram(), sys::phys_total_ram() - sys::process_current_mem());
  EXPECT_EQ(sys::process_peak_mem(), -1);
}

}  // namespace
