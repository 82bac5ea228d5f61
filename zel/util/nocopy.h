// Base of the classes whose objects own what a copy could not share.
#pragma once

namespace zel::util {

class nocopy {
 protected:
  nocopy() = default;
  ~nocopy() = default;

 public:
  nocopy(const nocopy&) = delete;
  nocopy& operator=(const nocopy&) = delete;
};

}  // namespace zel::util
