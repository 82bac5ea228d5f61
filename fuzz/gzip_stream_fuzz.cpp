// Gzip files: what is unpacked is what zlib unpacks, behind which comes the same kind of end; a
// file that is none is read as it is; going back and ahead finds the same bytes. Input: the file.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "require.h"
#include "zel/inpout/iogunzip.h"

using orvik::fuzz::require;

namespace {

constexpr std::size_t k_most = 1UL << 22;  // bytes unpacked: small files are large ones packed

struct unpacked {
  std::string bytes;
  bool failed = false;
  bool of_later_form = false;  // reserved flags, which zlib refuses and ISA-L passes over
  bool whole() const { return bytes.size() <= k_most; }
};

/// Unpacks a member; takes its bytes off `from`.
void unpack_member(std::string_view& from, unpacked& to) {
  z_stream z{};
  require(inflateInit2(&z, 16 + MAX_WBITS) == Z_OK, "zlib");
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(from.data()));
  z.avail_in = static_cast<uInt>(from.size());
  int code = Z_OK;
  while (code == Z_OK && to.whole()) {
    char piece[4096];
    z.next_out = reinterpret_cast<Bytef*>(piece);
    z.avail_out = sizeof piece;
    code = inflate(&z, Z_NO_FLUSH);
    to.bytes.append(piece, sizeof piece - z.avail_out);
  }
  to.failed = code != Z_STREAM_END && to.whole();
  from.remove_prefix(from.size() - z.avail_in);
  inflateEnd(&z);
}

unpacked by_zlib(std::string_view from) {
  unpacked to;
  if (!from.starts_with("\x1f\x8b")) return {std::string(from)};
  while (from.starts_with("\x1f\x8b") && !to.failed && to.whole()) {
    to.of_later_form |= from.size() > 3 && (from[3] & 0xe0) != 0;
    unpack_member(from, to);
  }
  return to;
}

unpacked unpack_all(zel::inpout::iogunzip& in, long at_once) {
  unpacked to;
  std::string piece(static_cast<std::size_t>(at_once), '\0');
  long got = 0;
  while (to.whole() && (got = in.read(piece.data(), at_once)) > 0) {
    to.bytes.append(piece.data(), static_cast<std::size_t>(got));
    require(in.tell() == static_cast<long>(to.bytes.size()), "the position behind what was read");
  }
  to.failed = to.whole() && got < 0;
  require(!to.failed || !in.error().empty(), "a failure has a text");
  return to;
}

/// ISA-L checks the sums at the end of the data, and of a damaged block it may have given less.
void compare(const unpacked& got, const unpacked& expected) {
  require(got.failed == expected.failed, "one outcome");
  const std::size_t both = std::min(got.bytes.size(), expected.bytes.size());
  require(got.failed || !got.whole() || got.bytes.size() == expected.bytes.size(), "one length");
  require(std::string_view(got.bytes).substr(0, both) ==
              std::string_view(expected.bytes).substr(0, both),
          "the same bytes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const int file = ::memfd_create("input", MFD_CLOEXEC);
  require(::write(file, data, size) == static_cast<long>(size), "an input file");
  const unpacked expected = by_zlib(bytes);
  if (expected.of_later_form) return ::close(file);
  const std::string name = "/proc/self/fd/" + std::to_string(file);
  for (const auto& [buffer, at_once] : {std::pair{2U, 1000L}, std::pair{1U << 12, 7L}}) {
    zel::inpout::iogunzip in(buffer);
    require(in.open(name), "the file is there");
    if (in.is_compressed() != bytes.starts_with("\x1f\x8b")) require(false, "what it begins as");
    compare(unpack_all(in, at_once), expected);
    if (expected.failed || !expected.whole() || expected.bytes.empty()) continue;
    const long middle = static_cast<long>(expected.bytes.size() / 2);
    char there = 0;
    require(in.lseek(middle, SEEK_SET) == middle && in.read(&there, 1) == 1, "going back");
    require(there == expected.bytes[static_cast<std::size_t>(middle)], "the byte that is there");
  }
  ::close(file);
  return 0;
}
