#pragma once

// What the tests that run on Windows have in common.

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/chain_entries.h"
#include "tests/import_patch.h"
#include "tests/lookup_patch.h"
#include "tests/scratch_directory.h"
#include "tests/scratch_registry.h"
