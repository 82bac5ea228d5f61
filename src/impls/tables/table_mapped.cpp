#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "impls/tables/append_codes.h"
#include "impls/tables/mapped_column.h"
#include "impls/tables/mapped_form.h"
#include "zel/inpout/binstream.h"
#include "zel/inpout/iomem.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_no_mapped_table[] = "not a mapped table";
constexpr char k_other_version[] = "a mapped table of another version";
constexpr char k_other_size[] = "cut, or longer than it was written";
constexpr char k_damaged_header[] = "a damaged header";
constexpr char k_damaged_schema[] = "damaged values";
constexpr char k_misplaced[] = "codes that are not where they should be";
constexpr char k_other_order[] = "mapped tables need a machine of little-endian numbers";
constexpr char k_columnless[] = "a table without columns";
constexpr char k_without_codes[] = "rows without a code";

constexpr std::uint64_t k_version = 1;
constexpr std::uint64_t k_alignment = zel::util::byte_sum::k_step;
constexpr std::size_t k_words_before_sum = 7;

using zel::inpout::require;

std::uint64_t aligned(std::uint64_t position) {
  return (position + k_alignment - 1) / k_alignment * k_alignment;
}

template <class T>
std::string_view bytes_of_items(const T* items, std::size_t n) {
  return {reinterpret_cast<const char*>(items), n * sizeof(T)};
}

/// Of the header but its last word, and of the directory.
std::uint64_t sum_of_header(const mapped_header& h, const std::vector<mapped_place>& places) {
  std::string all(bytes_of_items(&h, 1).substr(0, k_words_before_sum * sizeof h.own_sum));
  all += bytes_of_items(places.data(), places.size());
  return zel::util::byte_sum_of(all);
}

void write_at(zel::inpout::iofile& out, std::string_view bytes) {
  while (!bytes.empty()) {
    constexpr std::size_t k_most = 1UL << 30;
    errno = 0;
    const long put = out.write(bytes.data(), static_cast<long>(std::min(bytes.size(), k_most)));
    if (put <= 0) throw std::runtime_error(zel::inpout::system_reason(errno));
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
}

void open_at(zel::inpout::iofile& out, const std::string& file, std::uint64_t position,
             int mode = zel::inpout::mode_write) {
  constexpr int k_permissions = 0666;
  const bool good =
      out.open(file, mode, k_permissions) && out.lseek(static_cast<long>(position), SEEK_SET) >= 0;
  if (!good) throw std::runtime_error(zel::inpout::system_reason(errno));
}

void close(zel::inpout::iofile& out) {
  out.close();
  if (out.failed()) throw std::runtime_error(out.error());
}

std::string schema_of(const table& t) {
  zel::inpout::iomem bytes;
  bytes.open(1UL << 16);
  zel::inpout::obinstream out(&bytes, /*owns=*/false);
  out << t.clone(/*schema_only=*/true).get();
  return std::string(bytes.bytes());
}

}  // namespace

mapped_codes_writer::mapped_codes_writer(const std::string& file, std::uint64_t begin,
                                         unsigned bits)
    : bits_(bits), buffer_(1UL << 20) {
  open_at(out_, file, begin);
}

void mapped_codes_writer::flush() {
  const std::string_view bytes(buffer_.data(), used_);
  sum_.add(bytes);
  write_at(out_, bytes);
  used_ = 0;
}

/// Flushes full buffers only: whole steps of the sum.
template <class Code>
void mapped_codes_writer::append_as(std::span<const code_t> codes) {
  while (!codes.empty()) {
    const std::size_t n = std::min(codes.size(), (buffer_.size() - used_) / sizeof(Code));
    auto* const to = reinterpret_cast<Code*>(buffer_.data() + used_);
    for (std::size_t i = 0; i < n; ++i) to[i] = static_cast<Code>(codes[i]);
    used_ += n * sizeof(Code);
    codes = codes.subspan(n);
    if (used_ == buffer_.size()) flush();
  }
}

void mapped_codes_writer::append_bits(std::span<const code_t> codes) {
  for (const code_t code : codes) {
    word_ |= std::uint64_t{code > 1} << n_word_;
    if (++n_word_ < 64) continue;
    const code_t whole = word_;
    append_as<std::uint64_t>({&whole, 1});
    word_ = n_word_ = 0;
  }
}

void mapped_codes_writer::append(std::span<const code_t> codes) {
  switch (bits_) {
    case 1:
      return append_bits(codes);
    case 8:
      return append_as<std::uint8_t>(codes);
    case 16:
      return append_as<std::uint16_t>(codes);
    case 32:
      return append_as<std::uint32_t>(codes);
    default:
      return append_as<std::uint64_t>(codes);
  }
}

std::uint64_t mapped_codes_writer::close() {
  const code_t last = word_;
  if (n_word_ > 0) append_as<std::uint64_t>({&last, 1});
  flush();
  impls::close(out_);
  return sum_.value();
}

mapped_writer::mapped_writer(const std::string& file, const table& schema, unsigned long rows)
    : file_(file), places_(schema.n_columns()) {
  require(std::endian::native == std::endian::little, k_other_order);
  const std::string written = schema_of(schema);
  std::memcpy(&header_.magic, k_mapped_magic.data(), k_mapped_magic.size());
  header_.version = k_version;
  header_.rows = rows;
  header_.columns = schema.n_columns();
  header_.schema_bytes = written.size();
  header_.schema_sum = zel::util::byte_sum_of(written);
  const std::uint64_t schema_at = sizeof header_ + places_.size() * sizeof(mapped_place);
  header_.bytes = schema_at + written.size();
  for (unsigned long i = 0; i < schema.n_columns(); ++i) {
    bits_.push_back(schema.get_column(i).codes().bits);
    if (bits_[i] == 0 || rows == 0) continue;
    places_[i].begin = aligned(header_.bytes);
    header_.bytes = places_[i].begin + code_bytes(bits_[i], rows);
  }
  zel::inpout::iofile out;
  using namespace zel::inpout;
  open_at(out, file, schema_at, mode_write | mode_create | mode_truncate);
  write_at(out, written);
  close(out);
}

void mapped_writer::finish() {
  header_.own_sum = sum_of_header(header_, places_);
  zel::inpout::iofile out;
  open_at(out, file_, 0);
  write_at(out, bytes_of_items(&header_, 1));
  write_at(out, bytes_of_items(places_.data(), places_.size()));
  close(out);
}

void table::write_mapped(const std::string& file, const zel::util::run_context& run) const {
  require(!columns_.empty(), k_columnless);
  require(!columns_.empty(), k_columnless);
  mapped_writer to(file, *this, n_rows_);
  run.with_workers([&] {
    run.for_each_index(columns_.size(), [&](unsigned long i) {
      to.write_column(i, [&](mapped_codes_writer& codes) {
        visit_codes(columns_[i]->codes(), [&](const auto& of_row) {
          append_codes(
              n_rows_, [&of_row](row_t row) { return code_t{of_row[row]}; }, codes);
        });
      });
    });
  });
  to.finish();
}

namespace {

using mapping = std::shared_ptr<const zel::inpout::file_mapping>;

mapped_header header_of(std::string_view bytes) {
  mapped_header h;
  require(bytes.size() >= sizeof h && bytes.starts_with(k_mapped_magic), k_no_mapped_table);
  std::memcpy(&h, bytes.data(), sizeof h);
  require(h.version == k_version, k_other_version);
  require(h.bytes == bytes.size(), k_other_size);
  return h;
}

/// The directory of a file whose header was read; both are then as they were written.
std::vector<mapped_place> places_of(std::string_view bytes, const mapped_header& h) {
  bytes.remove_prefix(sizeof h);
  require(h.columns > 0 && h.columns <= bytes.size() / sizeof(mapped_place), k_damaged_header);
  std::vector<mapped_place> places(h.columns);
  std::memcpy(places.data(), bytes.data(), places.size() * sizeof(mapped_place));
  require(h.own_sum == sum_of_header(h, places), k_damaged_header);
  return places;
}

std::string_view schema_bytes(std::string_view bytes, const mapped_header& h) {
  bytes.remove_prefix(sizeof h + h.columns * sizeof(mapped_place));
  require(h.schema_bytes <= bytes.size(), k_damaged_header);
  const std::string_view schema = bytes.substr(0, h.schema_bytes);
  require(zel::util::byte_sum_of(schema) == h.schema_sum, k_damaged_schema);
  return schema;
}

std::unique_ptr<table> read_schema(std::string_view schema) {
  zel::inpout::iomem bytes;  // only read
  bytes.open(const_cast<char*>(schema.data()), schema.size(), schema.size());
  zel::inpout::ibinstream in(&bytes, /*owns=*/false);
  table* t = nullptr;
  in >> t;
  std::unique_ptr<table> read(t);
  require(in.at_end() && read != nullptr && read->n_rows() == 0, k_damaged_schema);
  return read;
}

/// The codes at `place`, for the values of a column without rows.
std::shared_ptr<const mapped_codes> codes_at(const mapped_place& place, const mapping& file,
                                             unsigned long rows, const column& empty,
                                             const std::string& name) {
  const std::string_view bytes = file->bytes();
  const unsigned bits = empty.codes().bits;
  const bool fit = place.begin % k_alignment == 0 && place.begin <= bytes.size() &&
                   code_bytes(bits, rows) <= bytes.size() - place.begin;
  require(fit, k_misplaced);
  const code_view view{bytes.data() + place.begin, bits};
  const o_set& values = *empty.values();
  return std::make_shared<mapped_codes>(
      file, view, rows,
      mapped_codes::promise{"column " + empty.name() + ", file " + name, values.size_of_known(),
                            values.has_null(), place.sum});
}

}  // namespace

std::unique_ptr<table> table::open_mapped(const std::string& file, const std::string& name) {
  require(std::endian::native == std::endian::little, k_other_order);
  const auto mapped = std::make_shared<const zel::inpout::file_mapping>(file);
  const mapped_header h = header_of(mapped->bytes());
  const std::vector<mapped_place> places = places_of(mapped->bytes(), h);
  std::unique_ptr<table> t = read_schema(schema_bytes(mapped->bytes(), h));
  zel::inpout::file_mapping::release(mapped->bytes());  // it is in memory now
  require(t->n_columns() == places.size(), k_damaged_schema);
  require(h.rows / 64 <= h.bytes, k_damaged_header);  // no overflow below
  bool has_codes = false;
  for (std::size_t i = 0; i < places.size(); ++i) {
    column& empty = *t->columns_[i];
    if (empty.codes().bits == 0) continue;
    std::shared_ptr<const mapped_codes> codes = codes_at(places[i], mapped, h.rows, empty, name);
    t->columns_[i] = std::make_unique<mapped_column>(empty.type(), empty.name(),
                                                     empty.take_values(), std::move(codes));
    has_codes = true;
  }
  require(has_codes || h.rows == 0, k_without_codes);
  t->n_rows_ = h.rows;
  if (h.rows > 0) t->check_weights();
  return t;
}

}  // namespace orvik::impls
