// Files of finished tasks (-resume): whatever the results in one are, a run goes on with them to
// its end or to one line, and a model that it writes is one that can be used.
// Input: a byte that picks the run, then the records of its file. The beginning of the file and the
// sums of the records are put right, as whoever makes such a file on purpose would.
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "orvcmd_run.h"

using namespace orvik::fuzz;

namespace {

using words = std::vector<std::string>;

constexpr std::size_t k_begin = 44, k_heading = 32, k_length_at = 24, k_sum = 4;

const std::vector<words>& runs() {
  static const std::vector<words> all{
      {"-rf", "3", "-imp"},
      {"-fo", "4", "-cv", "2", "2"},
      {"-cv", "2", "3", "-mep"},
      {"-npp", "-sbe"},
      {"-sdm2012", "1", "-cv", "1", "3"},
      {"-as2018", "0:1", "1", "2", "1", "-cv", "1", "3", "-fo", "2"},
      {"-ba", "2", "-soft"},
  };
  return all;
}

bool is_experiment(std::size_t run) { return runs()[run][0].find("20") != std::string::npos; }

/// Its model goes to made.file, the tasks are in "tasks".
words command_of(std::size_t run) {
  words command{"-f", "golf", "-seed", "1", "-resume", "tasks"};
  command.insert(command.end(), runs()[run].begin(), runs()[run].end());
  if (!is_experiment(run)) command.insert(command.end(), {"-tb", "made.file"});
  return command;
}

struct prepared_files {
  scratch folder;
  std::vector<std::string> begins;  // of the file of each run

  prepared_files() {
    folder.keep("golf.names", orvik::impls::k_golf_names);
    folder.keep("golf.data", orvik::impls::k_golf_rows);
    for (std::size_t run = 0; run < runs().size(); ++run) {
      folder.restore();
      require(run_orvcmd(command_of(run), folder) == 0, "a run with nothing to go on from");
      begins.push_back(scratch::bytes_of("tasks").substr(0, k_begin));
    }
  }
};

std::string with_sums(std::string_view records) {
  std::string whole;
  while (records.size() >= k_heading) {
    std::string record(records.substr(0, k_heading));
    records.remove_prefix(k_heading);
    std::uint64_t length;
    std::memcpy(&length, record.data() + k_length_at, sizeof length);
    length = std::min<std::uint64_t>(length, records.size());
    std::memcpy(record.data() + k_length_at, &length, sizeof length);
    record.append(records.substr(0, length));
    records.remove_prefix(std::min<std::size_t>(length + k_sum, records.size()));
    const auto sum = static_cast<std::uint32_t>(
        crc32_z(0, reinterpret_cast<const Bytef*>(record.data()), record.size()));
    whole.append(record).append(reinterpret_cast<const char*>(&sum), sizeof sum);
  }
  return whole;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static prepared_files prepared;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (bytes.empty()) return 0;
  const std::size_t run = data[0] % runs().size();
  prepared.folder.restore();
  std::ofstream("tasks", std::ios::binary) << prepared.begins[run] << with_sums(bytes.substr(1));
  if (run_orvcmd(command_of(run), prepared.folder) != 0) return 0;
  if (is_experiment(run)) return 0;
  const words use{"-bt", "made.file", "-fs", "golf.data", "-s", "made.more", "-t", "made.text"};
  require(run_orvcmd(use, prepared.folder) == 0, "a model that can be used");
  return 0;
}
