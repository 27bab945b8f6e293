#pragma once

#include <functional>
#include <string>

#include "sim/field_reader.h"
#include "sim/scenario.h"

// The parsers of one line each, used by parseScenario. They throw FieldError.
namespace zelvo::sim {

World parseWorld(FieldReader& fields);
// The action named by "do" (every field but "do" and "at"), as the work it does on the world.
std::function<void(SimWorld&)> parseAction(const std::string& name, FieldReader& fields);

}  // namespace zelvo::sim
