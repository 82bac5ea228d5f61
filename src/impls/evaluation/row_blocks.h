// A text of rows of any length in bounded memory: blocks of whole lines are worked on side by
// side and finished in the order of the input, so that results, counts and the first error are
// the same for any number of workers.
#pragma once

#include <tbb/parallel_pipeline.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "zel/inpout/stream.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

/// What became of a block.
template <class Output>
struct row_block {
  Output output;
  unsigned long rows = 0;            // read well
  std::optional<std::string> error;  // of the row after them
};

/// Calls work(text, block) for every block of lines, behind which zel::inpout::stream::k_padding
/// bytes may be read, each on any thread, and then, in the order of the input on one thread at a
/// time, write(output). `rows` receives the number of rows read well, also when it ends in an
/// error. Throws "TITLE(row N): ERROR", N from 1, for the earliest bad row, and what reading the
/// input or a cancelled run throws, each after all that comes before was written.
template <class Output, class Work, class Write>
void for_each_row_block(const zel::util::run_context& run, zel::inpout::stream& in,
                        const char* title, unsigned long& rows, const Work& work,
                        const Write& write) {
  rows = 0;
  const auto finish = [&](row_block<Output>& b) {
    write(b.output);
    rows += b.rows;
    if (!b.error) return;
    throw std::runtime_error(title + ("(row " + std::to_string(rows + 1)) + "): " + *b.error);
  };

  if (run.n_workers < 2) {
    row_block<Output> b;
    while (in.next_block()) {
      run.require_not_cancelled();
      work(in.block(), b);
      finish(b);
    }
    return;
  }

  struct token {
    std::string text;
    std::exception_ptr failure;
    row_block<Output> block;
  };
  // Tokens end in the order in which they began: as many as there are, one after the other.
  std::vector<token> ring(run.n_slots() + 2);
  unsigned long next = 0;
  bool ended = false;
  const auto read = [&](tbb::flow_control& control) -> token* {
    token& t = ring[next++ % ring.size()];
    try {
      run.require_not_cancelled();
      if (ended || !in.next_block()) {
        control.stop();
        return nullptr;
      }
      t.text.assign(in.block());
      t.text.append(zel::inpout::stream::k_padding, '\0');
    } catch (...) {
      t.failure = std::current_exception();  // thrown when its turn comes
      ended = true;
    }
    return &t;
  };
  const auto handle = [&](token* t) {
    std::string_view text = t->text;
    text.remove_suffix(std::min<std::size_t>(text.size(), zel::inpout::stream::k_padding));
    if (!t->failure) work(text, t->block);
    return t;
  };
  const auto end = [&](token* t) {
    if (t->failure) std::rethrow_exception(t->failure);
    finish(t->block);
  };
  using tbb::filter_mode;
  run.with_workers([&] {
    tbb::parallel_pipeline(ring.size(),
                           tbb::make_filter<void, token*>(filter_mode::serial_in_order, read) &
                               tbb::make_filter<token*, token*>(filter_mode::parallel, handle) &
                               tbb::make_filter<token*, void>(filter_mode::serial_in_order, end));
  });
}

}  // namespace orvik::impls
