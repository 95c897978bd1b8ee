#pragma once
// Each effect family binds the actions of its effects into the table.
#include "engine/actions.h"

namespace tessfx {

// Calls every family's binder.
void BindActions(ActionTable& t);

// One binder per family; each sets the actions of its effects.
void BindAdjustActions(ActionTable& t);
void BindBlurActions(ActionTable& t);

}  // namespace tessfx
