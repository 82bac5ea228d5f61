#include "orvik/fingerprint.h"

#include "impls/tables/table.h"
#include "orvik/table.h"
#include "zel/inpout/binstream.h"
#include "zel/inpout/iosum.h"

namespace orvik {

std::uint64_t fingerprint_of(const table& t) {
  zel::inpout::iosum sum;
  zel::inpout::obinstream out(&sum, /*owns=*/false);
  out << t.get_impl();
  return sum.sum();
}

}  // namespace orvik
