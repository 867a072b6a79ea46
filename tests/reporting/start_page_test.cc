#include "reporting/start_page.h"
#include <gtest/gtest.h>
