#pragma once

#include "base/reg.h"

// Reads the value "Description" of a layout's key.
//   errors       left as it is: a layout without a description is no failure worth a message
//   description  receives the text; empty on failure
//   key          open key
// Returns false when there is no such text of at most 260 characters.
bool ReadLayoutDescription(t_errorChain& errors, t_str& description, const t_reg& key);
