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
#include "zel/util/loop_marks.h"
#include "zel/util/run_context.h"
#include "zel/util/side_by_side.h"

namespace orvik::impls {

/// What became of a block.
template <class Output>
struct row_block {
  Output output;
  unsigned long rows = 0;            // read well
  std::optional<std::string> error;  // of the row after them
};

}  // namespace orvik::impls

/// What processes tell one another of a block.
template <class Output>
struct zel::util::result_bytes<orvik::impls::row_block<Output>> {
  using block = orvik::impls::row_block<Output>;
  static std::string pack(const block& from) {
    std::vector<char> error;
    if (from.error) error.assign(from.error->begin(), from.error->end());
    return bytes_of_items(std::vector<unsigned long>{from.rows, from.error.has_value()}) +
           bytes_of_items(error) + result_bytes<Output>::pack(from.output);
  }
  static block unpack(std::string_view bytes) {
    const auto known = take_items<unsigned long>(bytes);
    const auto error = take_items<char>(bytes);
    block made{result_bytes<Output>::unpack(bytes), known.at(0), std::nullopt};
    if (known.at(1) != 0) made.error.emplace(error.begin(), error.end());
    return made;
  }
};

namespace orvik::impls {

/// Blocks one after the other on this thread.
template <class Output, class Work, class Finish>
void work_in_turn(const zel::util::run_context& run, zel::inpout::stream& in, const Work& work,
                  const Finish& finish) {
  row_block<Output> block;
  while (in.next_block()) {
    run.require_not_cancelled();
    work(in.block(), block);
    finish(block);
  }
}

/// Blocks on all threads of a run. Tokens end in the order in which they began: as many as there
/// are, one after the other.
template <class Output, class Work, class Finish>
class row_pipeline {
 public:
  row_pipeline(const zel::util::run_context& run, zel::inpout::stream& in, const Work& work,
               const Finish& finish)
      : run_(run), in_(in), work_(work), finish_(finish), ring_(run.n_slots() + 2) {}

  void run() {
    using tbb::filter_mode;
    // oneTBB copies them into its memory.
    const auto reading = tbb::make_filter<void, token*>(
        filter_mode::serial_in_order,
        [this](tbb::flow_control& control) ZEL_UNWATCHED { return read(control); });
    const auto working = tbb::make_filter<token*, token*>(
        filter_mode::parallel, [this](token* t) ZEL_UNWATCHED { return handle(t); });
    const auto ending = tbb::make_filter<token*, void>(filter_mode::serial_in_order,
                                                       [this](token* t) ZEL_UNWATCHED { end(*t); });
    run_.with_workers([&] { tbb::parallel_pipeline(ring_.size(), reading & working & ending); });
  }

 private:
  struct token {
    std::string text;
    std::exception_ptr failure;
    row_block<Output> block;
    zel::util::parallel::turn_marks stages;
  };
  using body_mark = zel::util::parallel::body_mark;
  using turn_mark = zel::util::parallel::turn_mark;

  token* read(tbb::flow_control& control) {
    const body_mark mark(marks_);
    const turn_mark turn(reading_);
    token& t = ring_[next_++ % ring_.size()];
    const turn_mark stage(t.stages);
    try {
      run_.require_not_cancelled();
      if (ended_ || !in_.next_block()) {
        control.stop();
        return nullptr;
      }
      t.text.assign(in_.block());
      t.text.append(zel::inpout::stream::k_padding, '\0');
    } catch (...) {
      t.failure = std::current_exception();  // thrown when its turn comes
      ended_ = true;
    }
    return &t;
  }

  token* handle(token* t) {
    const body_mark mark(marks_);
    const turn_mark stage(t->stages);
    std::string_view text = t->text;
    text.remove_suffix(std::min<std::size_t>(text.size(), zel::inpout::stream::k_padding));
    if (!t->failure) work_(text, t->block);
    return t;
  }

  void end(token& t) {
    const body_mark mark(marks_);
    const turn_mark turn(ending_);
    const turn_mark stage(t.stages);
    if (t.failure) std::rethrow_exception(t.failure);
    finish_(t.block);
  }

  const zel::util::run_context& run_;
  zel::inpout::stream& in_;
  const Work& work_;
  const Finish& finish_;
  std::vector<token> ring_;
  unsigned long next_ = 0;
  bool ended_ = false;
  zel::util::parallel::loop_marks marks_;
  zel::util::parallel::turn_marks reading_, ending_;
};

/// Throws what f() throws, and tells all processes of it.
template <class F>
void tell_of_failure(const zel::util::run_context& run, const F& f) {
  try {
    f();
  } catch (...) {
    if (run.companions != nullptr) run.companions->tell_error(zel::util::name_of_error());
    throw;
  }
}

/// Blocks on all processes: each reads the input, and works on a part of it.
template <class Output, class Work, class Finish>
void share_out_blocks(const zel::util::run_context& run, zel::inpout::stream& in, const Work& work,
                      const Finish& finish) {
  constexpr unsigned long k_at_once = 4;  // blocks a process; memory grows with all of them
  std::vector<std::string> texts;
  const auto read = [&] {
    texts.clear();
    while (texts.size() < k_at_once * run.companions->size() && in.next_block()) {
      texts.emplace_back(in.block()).append(zel::inpout::stream::k_padding, '\0');
    }
  };
  const auto work_on = [&](unsigned long i) {
    std::string_view text = texts[i];
    text.remove_suffix(zel::inpout::stream::k_padding);
    row_block<Output> block;
    work(text, block);
    return block;
  };
  for (tell_of_failure(run, read); !texts.empty(); tell_of_failure(run, read)) {
    std::vector<row_block<Output>> blocks(texts.size());
    run.with_workers([&] { zel::util::make_side_by_side(run, blocks, work_on); });
    for (row_block<Output>& block : blocks) finish(block);
  }
}

/// Calls work(text, block) for every block of lines, behind which zel::inpout::stream::k_padding
/// bytes may be read, each on any thread, and then, in the order of the input on one thread at a
/// time, write(output). `rows` receives the number of rows read well, also when it ends in an
/// error. Throws "TITLE(row N): ERROR", N from 1, for the earliest bad row, and what reading the
/// input or a cancelled run throws, each after all that comes before was written. In a team every
/// process writes all, what any of them worked on.
template <class Output, class Work, class Write>
void for_each_row_block(const zel::util::run_context& run, zel::inpout::stream& in,
                        const char* title, unsigned long& rows, const Work& work,
                        const Write& write) {
  rows = 0;
  const auto finish = [&](row_block<Output>& b) {
    tell_of_failure(run, [&] { write(b.output); });
    rows += b.rows;
    if (!b.error) return;
    throw std::runtime_error(title + ("(row " + std::to_string(rows + 1)) + "): " + *b.error);
  };
  if (run.companions != nullptr) return share_out_blocks<Output>(run, in, work, finish);
  if (run.n_workers < 2) return work_in_turn<Output>(run, in, work, finish);
  row_pipeline<Output, Work, decltype(finish)>(run, in, work, finish).run();
}

}  // namespace orvik::impls
