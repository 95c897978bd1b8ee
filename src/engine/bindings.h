#pragma once
// Each effect family binds the actions of its effects into the table.
#include "engine/actions.h"

namespace tessfx {

// Calls every family's binder.
void BindActions(ActionTable& t);

// One binder per family; each sets the actions of its effects.
void BindAdjustActions(ActionTable& t);
void BindBlurActions(ActionTable& t);
void BindInlineActions(ActionTable& t);    // filter-library effects run by the dispatch itself
void BindLookActions(ActionTable& t);      // colour looks
void BindCombineActions(ActionTable& t);   // combine with swap, mix buffers
void BindVideoActions(ActionTable& t);     // video looks
void BindRankActions(ActionTable& t);      // cross rank filters
void BindGeometricActions(ActionTable& t); // mirage, mosaic, displace

}  // namespace tessfx
