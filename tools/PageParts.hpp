// The files of the folder "page", which the build puts into the program.
#pragma once

namespace ksexpr::pageParts {

extern const char* const html;
extern const char* const css;
extern const char* const js;

}  // namespace ksexpr::pageParts
