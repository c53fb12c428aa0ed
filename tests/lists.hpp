/// Lists of integers, as maps and codes are written in the tests.
#pragma once

#include <cstddef>
#include <vector>

namespace saddlefit::test {

using Ints = std::vector<int>;

template <class List> auto &at(List &list, int i) {
    return list[static_cast<std::size_t>(i)];
}

} // namespace saddlefit::test
