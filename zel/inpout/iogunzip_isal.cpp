// Reading compressed files by ISA-L, which unpacks one member of a gzip file at a time.
#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "zel/inpout/iofile.h"
#include "zel/inpout/iogunzip.h"

namespace zel::inpout {

namespace {

constexpr char k_truncated[] = "truncated gzip data";
constexpr char k_damaged[] = "damaged gzip data: ";
constexpr char k_no_seek_end[] = "iogz::lseek LSEEK_END not supported";  // as iogz words them
constexpr char k_no_whence[] = "iogz::lseek position not supported";

constexpr long k_max_call = 1L << 30;  // the library counts in 32 bits
constexpr unsigned k_magic_bytes = 2;
constexpr unsigned char k_magic[k_magic_bytes] = {0x1f, 0x8b};

const char* meaning_of(int code) {
  switch (code) {
    case ISAL_INVALID_BLOCK:
      return "invalid block";
    case ISAL_INVALID_SYMBOL:
      return "invalid code";
    case ISAL_INVALID_LOOKBACK:
      return "invalid distance too far back";
    case ISAL_INVALID_WRAPPER:
      return "incorrect header check";
    case ISAL_UNSUPPORTED_METHOD:
      return "unknown compression method";
    case ISAL_INCORRECT_CHECKSUM:
      return "incorrect data check";
    default:
      return "unexpected data";
  }
}

}  // namespace

struct iogunzip::engine {
  enum class part { START, HEADER, MEMBER, BETWEEN, PLAIN, END };

  void restart();
  bool fill(unsigned least);
  bool starts_member();
  void enter();
  void fail(int code);
  void read_header();
  long give(char* to, long count);
  long unpack(char* to, long count);
  long copy(char* to, long count);

  iofile file;
  inflate_state state;  // next_in, avail_in: what is left of the buffer
  isal_gzip_header header;
  std::vector<unsigned char> buffer;
  part where = part::START;
  long position = 0;
  std::string failure;  // why no more can be read
};

void iogunzip::engine::restart() {
  isal_inflate_init(&state);
  state.next_in = buffer.data();
  state.avail_in = 0;
  where = part::START;
  position = 0;
  failure.clear();
}

/// Has at least `least` bytes of the file ready. False at its end, or when it cannot be read.
bool iogunzip::engine::fill(unsigned least) {
  std::memmove(buffer.data(), state.next_in, state.avail_in);
  state.next_in = buffer.data();
  while (state.avail_in < least) {
    const long room = static_cast<long>(buffer.size()) - state.avail_in;
    const long got = file.read(buffer.data() + state.avail_in, room);
    if (got < 0) failure = file.error();
    if (got < 1) return false;
    state.avail_in += static_cast<std::uint32_t>(got);
  }
  return true;
}

bool iogunzip::engine::starts_member() {
  return (state.avail_in >= k_magic_bytes || fill(k_magic_bytes)) &&
         std::memcmp(state.next_in, k_magic, k_magic_bytes) == 0;
}

/// At the start and behind a member: what comes next.
void iogunzip::engine::enter() {
  if (starts_member()) {
    isal_inflate_reset(&state);
    isal_gzip_header_init(&header);
    state.crc_flag = ISAL_GZIP_NO_HDR_VER;
    where = part::HEADER;
  } else if (failure.empty()) {
    where = where == part::START ? part::PLAIN : part::END;
  }
}

void iogunzip::engine::fail(int code) { failure = std::string(k_damaged) + meaning_of(code); }

/// Not left to the call that unpacks: where the buffer ends within a header that one forgets the
/// flags that it has read (2.30).
void iogunzip::engine::read_header() {
  int code = ISAL_END_INPUT;
  while (code == ISAL_END_INPUT) {
    if (state.avail_in == 0 && !fill(1)) {
      if (failure.empty()) failure = k_truncated;
      return;
    }
    code = isal_read_gzip_header(&state, &header);
  }
  if (code != ISAL_DECOMP_OK) return fail(code);
  where = part::MEMBER;
}

/// At most `count` bytes of the data, perhaps none before the next call; at the end none.
long iogunzip::engine::give(char* to, long count) {
  if (where == part::START || where == part::BETWEEN) enter();
  if (where == part::HEADER) read_header();
  if (!failure.empty() || where == part::END) return 0;
  return where == part::PLAIN ? copy(to, count) : unpack(to, count);
}

long iogunzip::engine::unpack(char* to, long count) {
  const auto room = static_cast<std::uint32_t>(std::min(count, k_max_call));
  state.next_out = reinterpret_cast<unsigned char*>(to);
  state.avail_out = room;
  const std::uint32_t held = state.avail_in;
  const int code = isal_inflate(&state);
  const long made = room - state.avail_out;
  if (code != ISAL_DECOMP_OK && code != ISAL_END_INPUT) {
    fail(code);
  } else if (state.block_state == ISAL_BLOCK_FINISH) {
    where = part::BETWEEN;
  } else if (made == 0 && state.avail_in == held && !fill(held + 1) && failure.empty()) {
    failure = k_truncated;
  }
  return made;
}

long iogunzip::engine::copy(char* to, long count) {
  if (state.avail_in == 0 && !fill(1)) {
    if (failure.empty()) where = part::END;
    return 0;
  }
  const long some = std::min<long>(count, state.avail_in);
  std::memcpy(to, state.next_in, static_cast<std::size_t>(some));
  state.next_in += some;
  state.avail_in -= static_cast<std::uint32_t>(some);
  return some;
}

iogunzip::iogunzip(unsigned bytes) : engine_(std::make_unique<engine>()) {
  engine_->buffer.resize(std::max(bytes, k_magic_bytes));
  engine_->restart();
}

iogunzip::~iogunzip() = default;

void iogunzip::close() { engine_->file.close(); }

bool iogunzip::eof() { return engine_->where == engine::part::END; }

bool iogunzip::is_open() const { return engine_->file.is_open(); }

long iogunzip::tell() { return engine_->position; }

bool iogunzip::open(const std::string& name, int mode) {
  mode_ = mode;
  forget_failures();
  engine_->restart();
  return engine_->file.open(name, mode_read, 0);
}

bool iogunzip::rewind() {
  if (!engine_->file.rewind()) return false;
  engine_->restart();
  return true;
}

bool iogunzip::is_compressed() { return engine_->starts_member() || !engine_->failure.empty(); }

long iogunzip::read(void* bytes, long count) {
  engine& e = *engine_;
  auto* const to = static_cast<char*>(bytes);
  long done = 0;
  while (done < count && e.failure.empty() && e.where != engine::part::END) {
    done += e.give(to + done, count - done);
  }
  e.position += done;
  if (done > 0 || count < 1 || e.failure.empty()) return done;
  set_error(e.failure);
  return -1;
}

long iogunzip::lseek(long offset, int whence) {
  if (whence == SEEK_END) throw std::runtime_error(k_no_seek_end);
  if (whence != SEEK_SET && whence != SEEK_CUR) throw std::runtime_error(k_no_whence);
  const long target = whence == SEEK_SET ? offset : tell() + offset;
  if (target < 0 || (target < tell() && !rewind())) return -1;
  std::vector<char> skipped(static_cast<std::size_t>(std::min(target - tell(), 1L << 16)));
  while (tell() < target) {
    const long piece = std::min(target - tell(), static_cast<long>(skipped.size()));
    if (read(skipped.data(), piece) < piece) return -1;
  }
  return tell();
}

}  // namespace zel::inpout
