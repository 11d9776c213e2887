// SPDX-License-Identifier: Apache-2.0
//
// What a machine compiles to show how fast it compiles. It stays as it is: figures are given in it.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

std::string Sorted(const std::string& text)
{
    std::map<std::string, std::vector<std::function<int(int)>>> words;
    std::istringstream input(text);
    for (std::string word; input >> word;) {
        words[word].push_back([length = word.size()](int factor) { return static_cast<int>(length) * factor; });
    }
    std::vector<std::pair<int, std::string>> order;
    for (const auto& [name, lengths] : words) {
        order.emplace_back(lengths.front()(static_cast<int>(lengths.size())), std::filesystem::path(name).filename());
    }
    std::sort(order.begin(), order.end());
    std::ostringstream sorted;
    for (const auto& [weight, name] : order) sorted << name << ' ' << weight << '\n';
    return sorted.str();
}
