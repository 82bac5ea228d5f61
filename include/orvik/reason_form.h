// How the reasons of predictions are written.
#pragma once

namespace orvik {

struct reason_form {
  bool predicted_only = false;  ///< a line for the predicted class instead of one for every class
  /// So many attributes of the largest contributions by name, the rest as one sum; 0: a column for
  /// every attribute that the model tests.
  unsigned long most = 0;
};

}  // namespace orvik
