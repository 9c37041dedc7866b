#pragma once
#include "support/ScriptedPrompts.h"
