#pragma once
// Each effect family binds the actions of its effects into the table.
#include "engine/actions.h"

namespace tessfx {

// Calls every family's binder.
void BindActions(ActionTable& t);

}  // namespace tessfx
