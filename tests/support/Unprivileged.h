#pragma once
// Runs a check in a child process without write permission on files the test
// made read-only (chmod 0444): as root, which may write anything, the child
// drops to the user "nobody" first. Returns the child's exit code (the check's
// result), or -1 when the child did not end normally.
#include <functional>

int runUnprivileged(const std::function<int()>& check);
