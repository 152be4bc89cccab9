// Marks what the shared library exports; everything else in it is hidden.
#pragma once

#define KS_API __attribute__((visibility("default")))
