// Delimited files: any bytes become a table that loads, or are refused with a message.
// Input: a byte of options, then the file.
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
  ::close(file);
  return 0;
}
