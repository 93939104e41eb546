// Precompiled for the test programs: GoogleTest's headers are the heaviest they include.
#pragma once
#include "core.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
