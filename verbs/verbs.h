// What the program does: a verb a file.
#pragma once

#include <memory>

#include "command_line.h"

namespace orvverbs {

std::unique_ptr<verb> new_train();
std::unique_ptr<verb> new_predict();
std::unique_ptr<verb> new_test();
std::unique_ptr<verb> new_view();
std::unique_ptr<verb> new_prep();
std::unique_ptr<verb> new_select();
std::unique_ptr<verb> new_compare();

}  // namespace orvverbs
