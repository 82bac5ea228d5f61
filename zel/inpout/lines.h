// The lines of a block of text, where they lie.
#pragma once

#include <string_view>

namespace zel::inpout {

/// Takes the first line off `block`, which is not empty. @return the line without its end: a line
/// feed, or a carriage return and a line feed, or the end of the block.
inline std::string_view take_line(std::string_view& block) {
  const std::size_t feed = block.find('\n');
  std::string_view line = block.substr(0, feed);
  block.remove_prefix(feed == std::string_view::npos ? block.size() : feed + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

}  // namespace zel::inpout
