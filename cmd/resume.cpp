#include "resume.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cost_options.h"
#include "errors.h"
#include "orvik/fingerprint.h"
#include "orvik/orvik.h"
#include "zel/inpout/iosum.h"
#include "zel/util/run_context.h"

namespace orvcmd {

namespace {

namespace fs = std::filesystem;

constexpr char k_needs_seed[] = "-resume needs -seed: without it no two runs draw alike";
constexpr char k_timed[] = "-resume does not go with -fslimit: time ends no two searches alike";
constexpr char k_measured[] = "-resume does not go with -tti, which measures a run from its start";

/// What the run is to do, but for how many workers do it and where results go, and what costs and
/// weights of classes were read.
std::uint64_t mark_of(const options& opt) {
  std::uint64_t sum = zel::inpout::fnv_sum(opt.task_words);
  for (const std::string& name : {opt.costs_file, opt.class_weights}) {
    if (name.empty() || name == k_balanced) continue;
    std::ifstream file(name, std::ios::binary);
    sum = zel::inpout::fnv_sum(std::string(std::istreambuf_iterator<char>(file), {}), sum);
  }
  return sum;
}

/// The number behind "NAME.", of a file of that name; 0 of another.
unsigned long process_of(const std::string& name, const std::string& file) {
  unsigned long number = 0;
  if (!file.starts_with(name + '.')) return 0;
  const char* const begin = file.data() + name.size() + 1;
  const auto [end, error] = std::from_chars(begin, file.data() + file.size(), number);
  return error == std::errc() && end == file.data() + file.size() ? number : 0;
}

std::string file_of(const std::string& name, unsigned long process) {
  return process == 0 ? name : name + '.' + std::to_string(process);
}

/// Those of processes that this run has not, parted among those that it has.
std::vector<std::string> files_of_others(const std::string& name, unsigned long rank,
                                         unsigned long n) {
  std::vector<std::string> found;
  const fs::path path(name);
  std::error_code error;
  const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    const unsigned long process = process_of(path.filename(), entry.path().filename());
    if (process >= n && process % n == rank) found.push_back(file_of(name, process));
  }
  return found;
}

}  // namespace

void require_resumable(const options& opt) {
  if (opt.resume_file.empty() || !opt.tree_binary_input.empty()) return;
  if (!opt.is_given("-seed")) throw failure(k_needs_seed);
  if (opt.fs_limit > 0) throw failure(k_timed);
  if (!opt.trace_file.empty()) throw failure(k_measured);
}

kept_tasks::kept_tasks(const options& opt, const orvik::table& t) {
  if (opt.resume_file.empty()) return;
  const zel::util::run_context& run = zel::util::default_context();
  const unsigned long rank = run.companions == nullptr ? 0 : run.companions->rank();
  const unsigned long n = run.companions == nullptr ? 1 : run.companions->size();
  const zel::inpout::run_mark mark{zel::inpout::fnv_sum(orvik::get_product()), mark_of(opt),
                                   orvik::fingerprint_of(t)};
  file_ = std::make_unique<zel::inpout::task_file>(file_of(opt.resume_file, rank),
                                                   files_of_others(opt.resume_file, rank, n), mark);
  run.store = file_.get();
}

kept_tasks::~kept_tasks() { zel::util::default_context().store = nullptr; }

}  // namespace orvcmd
