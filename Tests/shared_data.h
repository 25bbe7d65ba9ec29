// Where tests find data: small files of the repository, and a larger optional collection beside it.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

// Path of a file under Tests/data.
inline std::string data_file(const std::string& name) {
    return std::string(TARN_SOURCE_DIR) + "/Tests/data/" + name;
}

// Path of a file of the optional larger collection; empty when it is not there (the test then skips).
inline std::string shared_data_file(const std::string& name) {
    const std::string shared_data_dir = std::string(TARN_SOURCE_DIR) + "/../shared/data/";
    return std::filesystem::exists(shared_data_dir + name) ? shared_data_dir + name : std::string();
}

// Lines of a text file without their line ends; empty when it cannot be read.
inline std::vector<std::string> read_lines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

// The rows below the header of a tab-separated file, each split into its fields.
inline std::vector<std::vector<std::string>> read_rows(const std::string& path) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string& line : read_lines(path)) {
        std::istringstream in(line);
        std::vector<std::string>& row = rows.emplace_back();
        for (std::string field; std::getline(in, field, '\t');) row.push_back(field);
    }
    if (!rows.empty()) rows.erase(rows.begin());
    return rows;
}

// The words of a text, between blanks.
inline std::vector<std::string> split_words(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}
