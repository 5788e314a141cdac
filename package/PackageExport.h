#pragma once
// The package is built with hidden visibility; what the host or a program
// linking the package may call is marked with UXDD_API.
#define UXDD_API __attribute__((visibility("default")))
