// The laboratory's files: records read whole, and other files written whole. The engine's own tools read records into a
// TrainingBuffer (tools/training_file.h), which has a limit, reports and random seeds of its own.
#pragma once

#include "tools/training_record.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

// Records to reserve room for before the file is read: its own, by its size, and a piece more.
std::size_t room_to_read(const std::string& name);

// Appends the records of the file until there are `limit`. Returns what is wrong with the file, or an empty text. Part
// of a record at the end is left out, which the error stream says.
std::string read_record_file(const std::string& name, std::size_t limit, std::vector<TrainingRecord>& records);

// Writes a file beside `name` first and then renames it, so that there is always a whole one. False after one
// line on the error stream.
bool write_file_atomically(const std::string& name, std::initializer_list<std::string_view> parts);
