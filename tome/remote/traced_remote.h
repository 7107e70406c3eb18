// A remote that says in the trace (files/trace.h) what it is asked, and how long each answer takes.
#pragma once

#include <memory>

#include "tome/remote/remote.h"

namespace tome {

/// The remote itself, or, while steps are traced, one in its place that traces what is asked of it and of its objects.
std::unique_ptr<Remote> traced(std::unique_ptr<Remote> remote);

}  // namespace tome
