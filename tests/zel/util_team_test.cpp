// Processes of a team, here threads of one: what they give together, what one gives; and what a
// file keeps of their tasks.
#include <gmock/gmock.h>

#include <filesystem>

#include "inpout_scratch.h"
#include "support/thread_team.h"
#include "zel/inpout/task_file.h"
#include "zel/util/run_context.h"
#include "zel/util/side_by_side.h"

namespace {

using zel::inpout::run_mark;
using zel::inpout::task_file;
using zel::util::draw;
using zel::util::meeting_place;
using zel::util::run_context;
using zel::util::thread_team;
using texts = std::vector<std::string>;

/// What body(run) gives in each of n processes; in one alone without a team.
template <class Body>
std::vector<texts> in_team(unsigned long n, const Body& body) {
  meeting_place place(n);
  std::vector<texts> found(n);
  const auto process = [&](unsigned long rank) {
    run_context run;
    run.n_workers = 1 + rank % 2;
    run.seeds().set(7);
    thread_team team(place, rank);
    if (n > 1) run.companions = &team;
    found[rank] = body(run);
  };
  std::vector<std::thread> threads;
  for (unsigned long r = 0; r < n; ++r) threads.emplace_back(process, r);
  for (std::thread& each : threads) each.join();
  return found;
}

std::string drawn(run_context& run, draw purpose) {
  return std::to_string(run.seeds().next(purpose) % 1000) + ' ';
}

/// Ten tasks, of which each third draws once more, and what is drawn after them.
texts draw_in_turn(run_context& run, unsigned long guess) {
  texts all;
  zel::util::seed_source::places places{};
  places[static_cast<std::size_t>(draw::stratify)] = guess;
  const auto work = [&](unsigned long i) {
    EXPECT_EQ(run.companions, nullptr);
    std::string text = std::to_string(i) + ": " + drawn(run, draw::stratify);
    if (i % 3 == 1) text += drawn(run, draw::stratify) + drawn(run, draw::bootstrap);
    return text;
  };
  zel::util::share_out_in_turn(
      run, 10, places, work, [&](unsigned long, std::string_view text) { all.emplace_back(text); },
      [](std::string_view) {});
  all.push_back(drawn(run, draw::stratify) + drawn(run, draw::bootstrap));
  return all;
}

TEST(team, tasks_that_draw_give_what_they_give_in_turn_whatever_is_guessed) {
  const texts wanted = in_team(1, [](run_context& run) { return draw_in_turn(run, 0); })[0];
  for (const unsigned long n : {2UL, 3UL, 5UL}) {
    for (const unsigned long guess : {0UL, 1UL, 2UL}) {
      const auto found = in_team(n, [&](run_context& run) { return draw_in_turn(run, guess); });
      EXPECT_THAT(found, testing::Each(wanted)) << n << " processes, " << guess;
    }
  }
}

TEST(team, what_is_dealt_goes_to_the_one_it_is_for) {
  const auto found = in_team(3, [](run_context& run) {
    const auto r = static_cast<char>('0' + run.companions->rank());
    return run.companions->deal({{r, '0'}, {}, {r, '2', r}});
  });
  EXPECT_THAT(found, testing::ElementsAre(texts{"00", "10", "20"}, texts{"", "", ""},
                                          texts{"020", "121", "222"}));
}

TEST(team, an_error_of_one_process_ends_the_loops_of_all) {
  const auto body = [](run_context& run) {
    std::vector<std::vector<int>> results(6);
    const auto fail_at_4 = [](unsigned long i) {
      if (i == 4) throw std::runtime_error("no luck");
      return std::vector<int>{static_cast<int>(i)};
    };
    texts said;
    for (int loop = 0; loop < 2; ++loop) {
      const std::string error =
          error_of([&] { zel::util::make_side_by_side(run, results, fail_at_4); });
      said.push_back(error.substr(error.find("no luck")));
    }
    return said;
  };
  EXPECT_THAT(in_team(3, body), testing::Each(texts{"no luck", "no luck"}));
}

constexpr run_mark k_run{1, 2, 3};

/// Two loops with the file; how many tasks were done.
struct outcome {
  texts results;
  int done = 0;
};
outcome run_with(const std::string& file, const texts& others = {}, const run_mark& mark = k_run) {
  outcome found;
  run_context run;
  run.n_workers = 1;
  task_file kept(file, others, mark);
  run.store = &kept;
  for (const unsigned long n : {3UL, 2UL}) {
    texts results(n);
    const auto work = [&](unsigned long i) {
      ++found.done;
      return std::string(i + n, static_cast<char>('a' + i));
    };
    zel::util::make_side_by_side(run, results, work, /*kept=*/true);
    found.results.insert(found.results.end(), results.begin(), results.end());
  }
  return found;
}

TEST(task_files, one_cut_anywhere_goes_on_and_becomes_whole) {
  const scratch::folder files;
  const std::string whole = files.at("whole"), cut = files.at("cut");
  const texts wanted = run_with(whole).results;
  EXPECT_EQ(run_with(whole).done, 0);
  const std::string bytes = scratch::content_of(whole);
  int before = 6;
  for (std::size_t length = 0; length <= bytes.size(); ++length) {
    files.put("cut", bytes.substr(0, length));
    const outcome found = run_with(cut);
    EXPECT_EQ(found.results, wanted);
    EXPECT_EQ(scratch::content_of(cut), bytes);
    EXPECT_LE(found.done, before) << length;
    before = found.done;
  }
  EXPECT_EQ(before, 0);
}

TEST(task_files, a_changed_byte_is_refused_or_lost_and_never_believed) {
  const scratch::folder files;
  const texts wanted = run_with(files.at("whole")).results;
  const std::string bytes = scratch::content_of(files.at("whole"));
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    std::string changed = bytes;
    changed[at] = static_cast<char>(changed[at] ^ 0x21);
    files.put("changed", changed);
    outcome found;
    const std::string error = error_of([&] { found = run_with(files.at("changed")); });
    if (error.empty()) {
      EXPECT_EQ(found.results, wanted) << at;
    } else {
      EXPECT_THAT(error, testing::StartsWith("File " + files.at("changed") + ": it")) << at;
    }
  }
}

TEST(task_files, those_that_cannot_be_gone_on_with_say_why) {
  const scratch::folder files;
  const std::string own = files.at("own");
  run_with(own);
  EXPECT_EQ(run_with(files.at("new"), {own}).done, 0);
  struct sample {
    std::string file;
    run_mark mark;
    const char* error;
  };
  std::filesystem::create_directory(files.at("folder"));
  const std::vector<sample> samples{
      {files.put("text", "a,b\n"), k_run, "it does not hold finished tasks"},
      {files.put("long", std::string(100, 'a')), k_run, "it does not hold finished tasks"},
      {own, {1, 9, 3}, "its tasks are of a run with other options"},
      {own, {1, 2, 9}, "its tasks are of another table"},
      {own, {9, 2, 3}, "it was written by another version"},
      {files.at("folder"), k_run, "Is a directory"},
      {"/dev/null", k_run, "it is no regular file"}};
  for (const auto& [file, mark, error] : samples) {
    EXPECT_EQ(error_of([&] { run_with(file, {}, mark); }), "File " + file + ": " + error);
  }
  const task_file first(own, {}, k_run);
  EXPECT_EQ(error_of([&] { run_with(own); }), "File " + own + ": another run is using it");
}

}  // namespace
