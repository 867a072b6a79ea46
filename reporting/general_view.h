// The general view: the trainings and students of a month, week by week. Two addresses show it.
#pragma once

#include "frame/page_object.h"

namespace surva {

// The whole page, in the page's own frame.
void ShowGeneralView(PageObject& page, data::Connection& connection);

}  // namespace surva
