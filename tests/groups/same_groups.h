#ifndef TESTS_GROUPS_SAME_GROUPS_H
#define TESTS_GROUPS_SAME_GROUPS_H

#include <string>

namespace literal {

/// What two files of nodes say differently about the same network, beside the numbers of groups, the order of equal
/// ranks and who of equal ranks leads; empty for nothing. Ranks may differ by 1e-5 of their value: the files give six
/// digits, and sums run in another order.
std::string differenceOfGroups(const std::string& nodesCsv, const std::string& otherNodesCsv);

}  // namespace literal

#endif  // TESTS_GROUPS_SAME_GROUPS_H
