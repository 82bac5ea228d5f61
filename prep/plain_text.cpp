#include "plain_text.h"

#include <algorithm>
#include <cstring>

#include "intake.h"
#include "number_format.h"

namespace orvprep {

namespace {

/// Fits in a processor's second cache beside the dictionaries.
constexpr std::size_t k_block = 1UL << 18;
/// A longer one is read cell by cell.
constexpr std::size_t k_longest_line = 1UL << 30;

/// Whether there are neither empty lines nor characters that mean something else elsewhere.
bool is_plain(std::string_view lines, bool by_tab) {
  const char* const c = lines.data();
  unsigned char bad = !lines.empty() && (lines[0] == '\n' || lines[0] == '\r');
  const auto tab = static_cast<unsigned char>(by_tab ? '\t' : '\n');
  for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
    const auto byte = static_cast<unsigned char>(c[i]), next = static_cast<unsigned char>(c[i + 1]);
    const unsigned char end = byte == '\n', half = byte == '\r', next_end = next == '\n';
    const unsigned char next_half = next == '\r', control = byte < 0x20;
    const unsigned char other = control & (byte != '\n') & (byte != '\r') & (byte != tab);
    bad |= (end & (next_end | next_half)) | (half & (next_end ^ 1)) | other;
  }
  return bad == 0;
}

/// Where the cell in quotes that begins behind `at` goes on behind them; npos where they do not
/// fit. Its text is added.
std::size_t add_quoted(std::string_view lines, std::size_t at, std::string& to) {
  for (;;) {
    const std::size_t end = lines.find('"', at);
    if (end == lines.npos) return end;
    const std::string_view text = lines.substr(at, end - at);
    if (text.find_first_of("\n\t") != text.npos) return text.npos;
    to += text;
    at = end + 1;
    if (lines[at] != '"') return at;  // lines end with line feeds
    to += '"';
    ++at;
  }
}

std::size_t behind_blanks(std::string_view lines, std::size_t at) {
  while (lines[at] == ' ') ++at;
  return at;
}

/// Where the separator or the line end of a cell without quotes is; npos for a quote in it.
std::size_t end_of_cell(std::string_view lines, std::size_t at, char separator) {
  while (lines[at] != separator && lines[at] != '\n' && lines[at] != '"') ++at;
  return lines[at] == '"' ? lines.npos : at;
}

}  // namespace

std::string unquoted(std::string_view lines, char separator, char inner) {
  std::string result;
  result.reserve(lines.size());
  for (std::size_t at = 0; at < lines.size();) {
    const std::size_t begin = behind_blanks(lines, at);
    if (lines[begin] == '"') {
      at = add_quoted(lines, begin + 1, result);
      if (at == lines.npos) return {};
      at = behind_blanks(lines, at);
      if (lines[at] == '\r') ++at;
      if (lines[at] != separator && lines[at] != '\n') return {};
    } else {
      at = end_of_cell(lines, begin, separator);
      if (at == lines.npos) return {};
      result += lines.substr(begin, at - begin);
    }
    result += lines[at] == '\n' ? '\n' : inner;
    ++at;
  }
  return result;
}

void plain_text::rewind() {
  in_.rewind();
  held_.clear();
  in_header_ = form_.has_header;
  ended_ = refused_ = false;
}

/// Reads on, up to a line end at least.
void plain_text::add_text(std::string& block) {
  bool has_end = false;
  while (!has_end || block.size() < k_block) {
    const std::string_view text = in_.read();
    ended_ = text.empty();
    if (ended_) return;
    has_end = has_end || text.find('\n') != text.npos;
    block += text;
    if (!has_end && block.size() > k_longest_line) refused_ = ended_ = true;
  }
}

void plain_text::drop_header(std::string& block) {
  const std::size_t end = std::min(block.find('\n'), block.size());
  const std::string_view header = std::string_view(block).substr(0, end);
  const bool is_empty = header.find_first_not_of(" \t\r") == header.npos;
  const bool has_more_lines = std::ranges::count(header, '"') % 2 != 0 ||
                              header.substr(0, std::max(end, 1UL) - 1).find('\r') != header.npos;
  if (is_empty || has_more_lines) refused_ = true;
  block.erase(0, end + 1);
  in_header_ = false;
}

bool plain_text::next(std::string& block) {
  block.clear();
  if (ended_) return false;
  block.swap(held_);
  add_text(block);
  if (ended_) {
    block.erase(block.find_last_not_of("\r\n") + 1);
    if (!block.empty()) block += '\n';
  } else {
    const std::size_t whole = block.rfind('\n') + 1;
    held_.assign(block, whole);
    block.resize(whole);
  }
  if (in_header_) drop_header(block);
  return true;
}

bool plain_text::prepare(std::string& block, char& separator) const {
  separator = form_.separator;
  if (refused_ || !is_plain(block, separator == '\t')) return false;
  if (block.find('"') == block.npos) return true;
  separator = k_inner_separator;
  block = unquoted(block, form_.separator, separator);
  return !block.empty();
}

plain_text::cell_kind plain_text::read(std::string_view cell, double& value,
                                       unsigned& marks) const {
  if (rules_.unknown.has(cell)) return cell_kind::unknown;
  if (read_plain(cell, value, marks)) return cell_kind::number;
  return rules_.in_numbers.has(cell) ? cell_kind::unknown : cell_kind::text;
}

}  // namespace orvprep
