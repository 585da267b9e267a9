#ifndef TESTS_LOADER_LITERAL_COMPARISON_H
#define TESTS_LOADER_LITERAL_COMPARISON_H

#include <string>

#include "literal_cases.h"

namespace vesk_loader::testing {

/// Runs a case through the steps of the loader, in this process, and through the literal loader. Compared are standard
/// output, every file, the statistics and whether a run was terminated, run after run. Returns what differs first, an
/// empty text if nothing does. Everything in `folder` is removed before.
std::string differenceOfSteps(const LoaderCase& loaderCase, const std::string& folder);

/// The same for whole runs, each in a process of its own, from the command line to the exit status.
std::string differenceOfRuns(const LoaderCase& loaderCase, const std::string& folder);

}  // namespace vesk_loader::testing

#endif  // TESTS_LOADER_LITERAL_COMPARISON_H
