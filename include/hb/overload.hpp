// SPDX-License-Identifier: Apache-2.0
// hb/overload.hpp - hb::overload: one function for each type of a variant
#ifndef HB_OVERLOAD_HPP
#define HB_OVERLOAD_HPP

namespace hb {

// Joins lambdas into one function object, for std::visit:
//
//     std::visit(hb::overload{[](const hb::reports::node_died &died) { std::printf("node %d died\n", died.node); },
//                             [](const auto &) {}},
//                report);
template <class... Functions> struct overload : Functions... { using Functions::operator()...; };
template <class... Functions> overload(Functions...) -> overload<Functions...>;

} // namespace hb

#endif
