// The commands that take a workspace through a review.
#pragma once

#include <vector>

#include "command.h"

std::vector<Command> review_commands();
