// SPDX-License-Identifier: Apache-2.0
//
// What a machine compiles to show how fast it compiles. It stays as it is: figures are given in it.
#include <algorithm>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

std::string Sorted(const std::string& text)
{
    std::map<std::string, std::vector<std::function<int(int)>>> words;
    const std::regex word("[a-z]+|[0-9]+(,[0-9]+)*");
    for (std::sregex_iterator at(text.begin(), text.end(), word), end; at != end; ++at) {
        words[at->str()].push_back([length = at->length()](int factor) { return static_cast<int>(length) * factor; });
    }
    std::vector<std::pair<int, std::string>> order;
    for (const auto& [name, lengths] : words) order.emplace_back(lengths.front()(static_cast<int>(lengths.size())), name);
    std::sort(order.begin(), order.end());
    std::ostringstream sorted;
    for (const auto& [weight, name] : order) sorted << name << ' ' << weight << '\n';
    return sorted.str();
}
