#pragma once
#include "support/Processes.h"
