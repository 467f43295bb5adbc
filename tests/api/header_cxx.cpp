// SPDX-License-Identifier: Apache-2.0
// The public header alone is a valid C++98-and-later translation unit.
#include "VekTrgApi.h"
