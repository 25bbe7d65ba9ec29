// Between file names as the program holds them, UTF-8 text, and those of the standard library's file functions.
#pragma once

#include <filesystem>
#include <string>

std::filesystem::path file_path(const std::string& name);
std::string file_name(const std::filesystem::path& path);
