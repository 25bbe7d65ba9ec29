// Damaged versions of good files, the same ones in every run.
#pragma once

#include "shared_data.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <vector>

// The contents of the files of games, in the same order in every run.
inline std::vector<std::string> files_of_games() {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(data_file("pgn"))) {
        std::ifstream in(entry.path(), std::ios::binary);
        files.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    std::sort(files.begin(), files.end());
    return files;
}

constexpr const char* WORDS[] = {"\n[Result \"1-0\"]\n[FEN \"8/8/8/8/8/8/8/8 w - -\"]\n",
                                 " nan ",
                                 " -1 ",
                                 " 99999999999999999999 ",
                                 " a7a8q ",
                                 " moves e2e4 ",
                                 "\nfen 8/8/8/8/8/8/8/8 w - -\n"};

// A copy with one to eight random changes: bytes replaced, pieces cut out, doubled, moved or torn off, signs and
// words of the formats thrown in, line ends changed.
inline std::string mutated(const std::string& good, std::mt19937& random) {
    const auto below = [&random](std::size_t limit) { return limit ? random() % limit : 0; };
    std::string text = good;
    for (std::size_t changes = 1 + below(8); changes > 0; --changes) {
        const std::size_t at = below(text.size() + 1);
        const std::size_t size = std::min(below(below(8) == 0 ? 4000 : 40), text.size() - at);
        switch (below(8)) {
            case 0: text.replace(at, std::min<std::size_t>(1, size), 1, static_cast<char>(random())); break;
            case 1: text.erase(at, size); break;
            case 2: text.insert(at, text.substr(at, size)); break;
            case 3: text.insert(below(text.size()), text.substr(at, size)); break;
            case 4: text.insert(at, 1 + below(40), "{}()[]\"\n\r \t\0;%$#=+-/0O!?"[below(25)]); break;
            case 5: text.insert(at, WORDS[below(std::size(WORDS))]); break;
            case 6: std::replace(text.begin() + at, text.begin() + at + size, '\n', '\r'); break;
            default:
                if (below(4) == 0) text.resize(at);
                break;
        }
    }
    return text;
}
