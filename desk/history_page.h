// /admin/history: what was before changes and deletions, by table, person and day; puts rows back.
#pragma once

#include "desk/desk_page.h"

namespace surva::desk {

wire::HttpResponse ShowHistory(Context& context);

}  // namespace surva::desk
