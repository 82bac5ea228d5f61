// Who wrote a document: the library's name, version and notice of rights.
#pragma once

namespace orvik::impls {

constexpr char k_library_name[] = "Orvik";
constexpr char k_version[] = "2.2.0";
constexpr char k_copyright[] = "Orvik version 2.2.0 - The Orvik authors, all rights reserved";

}  // namespace orvik::impls
