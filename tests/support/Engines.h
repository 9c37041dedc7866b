#pragma once
#include "support/TestStore.h"
