// The registry of tablebase files: which tables exist, and their data, mapped on the first use.
#pragma once

#include "platform/file_map.h"
#include "syzygy/tbdecode.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

// One table name. Main thread only, but for what is said; no search runs while the registry changes.
struct TableEntry {
    std::uint64_t key;  // of the material as the name has it
    std::string name;   // "KRPvKR"
    Material material;
    bool has_dtm;  // a valid .rtbm file exists; such files are only counted
    bool has_dtz;
    std::atomic<bool> rejected;  // a file is damaged, truncated or gone: the material is unknown; any thread
    std::atomic<bool> ready[3];  // by TableKind: the data below can be read; any thread
    FileMap maps[3];
    std::unique_ptr<TableData> data[3];
};

// Key of the material with the given side's pieces as the first side's.
std::uint64_t material_key(const ProbePosition& position, int first_colour);

// The usable entry of a material key, in either orientation, or nullptr.
TableEntry* find_table(std::uint64_t key);

// Data of one kind of the entry's files, mapped and checked on first use; nullptr rejects the whole entry.
// Any thread.
const TableData* table_data(TableEntry& entry, TableKind kind);

// Reads the layout of a guarded mapping of the file at `path`. False when the table is damaged, or was truncated since
// it was mapped.
bool read_layout(TableData& data, const FileMap& map, const std::string& path, const Material& material,
                 TableKind kind);

// Rejects an entry, one of whose files was truncated after it had been mapped, and says so on the error stream, once.
// Any thread.
void give_up_table(TableEntry& entry, TableKind kind);
