// A run that keeps its finished tasks, and goes on from those that it finds: -resume.
#pragma once

#include <memory>

#include "driver.h"
#include "zel/inpout/task_file.h"

namespace orvcmd {

/// Throws where a run cannot be gone on with: one that draws differently every time, or that its
/// time ends.
void require_resumable(const options& opt);

/// While it lives, the default context has the tasks of the file that `opt` names, if it names one.
/// In a team each process but the first keeps its own beside it, with the number of the process
/// behind the name.
class kept_tasks : private zel::util::nocopy {
 public:
  /// Of a run of `opt` on `t`. Throws std::runtime_error as task_file does.
  kept_tasks(const options& opt, const orvik::table& t);
  ~kept_tasks();

 private:
  std::unique_ptr<zel::inpout::task_file> file_;
};

}  // namespace orvcmd
