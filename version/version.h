// The program's version, with the commit that it was built from where that is known.
#pragma once

namespace surva {

const char* Version();  // "0.1.0 (1a2b3c4)"

}  // namespace surva
