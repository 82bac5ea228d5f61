// Delimited files: any bytes become a table that loads, or are refused with a message; and the
// table that is made of a plain file at once is the one that is made of it cell by cell. Input: a
// byte of options, then the file.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "conversion.h"
#include "impls/tables/table.h"
#include "intake.h"
#include "orvik/table.h"
#include "require.h"
#include "zel/inpout/iofile.h"

using orvik::fuzz::error_of;
using orvik::fuzz::require;

namespace {

/// A folder of this process, removed at its end.
const std::string& folder() {
  static const struct scratch {
    scratch() {
      std::string name = "/dev/shm/orvprep-fuzz-XXXXXX";
      path = ::mkdtemp(name.data());
    }
    ~scratch() { std::filesystem::remove_all(path); }
    std::string path;
  } made;
  return made.path;
}

void load(const std::string& stem, char separator) {
  using namespace zel::inpout;
  const auto lines_of = [&](const std::string& name) {
    auto file = std::make_unique<iofile>();  // without the buffer of the program's files
    require(file->open(name, mode_read, 0), "the file is there");
    return stream(file.release(), separator, true, {4096});
  };
  orvik::impls::table t("t");
  stream names = lines_of(stem + ".names");
  t.load_meta_data(&names, "?");
  stream data = lines_of(stem + ".data");
  t.load_data(&data, 1, nullptr);
}

/// The table that training takes, if there is one.
std::string taken(orvprep::settings how, char comment) {
  how.cells.out_separator = orvprep::k_inner_separator;
  how.layout.comment = comment;
  std::ostringstream text;
  const std::string error = error_of([&] {
    orvprep::planned_input in(how);
    unsigned long n_dropped = 0;
    const auto table = orvprep::load_rows(in, "t", n_dropped);
    for (const auto& c : in.plan.columns) text << c.name << ' ' << c.type << ' ' << c.role << '\n';
    text << n_dropped << '\n';
    table->toCSV(text, nullptr, /*header=*/true);
  });
  return error.empty() ? text.str() : "refused";  // the roads may word it in two ways
}

/// A file that may have comments is read cell by cell; the mark is not in it.
void compare_roads(const orvprep::settings& how, std::string_view bytes) {
  constexpr char k_mark = '\x02';
  if (how.layout.comment != 0 || bytes.find(k_mark) != std::string_view::npos) return;
  require(taken(how, 0) == taken(how, k_mark), "one table, whatever the road");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const int file = ::memfd_create("input", MFD_CLOEXEC);
  require(::write(file, data + 1, size - 1) == static_cast<long>(size - 1), "an input file");
  orvprep::settings how;
  how.input = "/proc/self/fd/" + std::to_string(file);
  how.output = folder() + "/out";
  if (data[0] & 1) how.layout.separator = ',';
  if (data[0] & 2) how.layout.header = orvprep::header_mode::absent;
  if (data[0] & 4) how.cells.decimal_point = ',';
  if (data[0] & 8) how.cells.out_separator = ';';
  if (data[0] & 16) how.test = how.input;
  if (data[0] & 32) how.columns.classes.n = 3;
  if (data[0] & 64) how.layout.comment = '#';
  if (data[0] & 128) how.encoded = orvprep::encoding::cp1252;
  how.drop_unclassed = true;
  std::ostringstream summary;
  char separator = 0;
  const std::string error =
      error_of([&] { separator = orvprep::convert(how, summary).cells.out_separator; });
  if (error.empty()) {
    const std::string refused = error_of([&] { load(how.output, separator); });
    // Rows of unknown class were left out, perhaps all of a class.
    require(refused.empty() || refused.starts_with("there must be at least"), refused.c_str());
  }
  compare_roads(how, {reinterpret_cast<const char*>(data) + 1, size - 1});
  ::close(file);
  return 0;
}
