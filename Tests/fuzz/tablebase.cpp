// Syzygy files: the first byte chooses a real file, each four bytes that follow change it. First its layout and values
// are read from memory, where every read beyond the end is seen; a file that is still accepted is then probed.
#include "fuzz/fuzz.h"

#include "frontend/base/settings.h"
#include "platform/words.h"
#include "syzygy/tbfiles.h"
#include "syzygy/tbprobe.h"

#include <random>

namespace {

constexpr std::uintmax_t LARGEST_FILE = 60000;
constexpr std::size_t HEAD_BYTES = 512;  // layouts, codes and symbols stand here

struct TableFile {
    std::string name;  // KRvK.rtbw
    std::string bytes;
    TableKind kind;
    Material material;
    std::vector<std::string> positions;  // those of the tests that need the file
};

void use_folder() {
    copy_text(settings.syzygy_path, ".");
    tb_init();
}

// All the tables in the target's folder, and those that are not too large to be changed.
std::vector<TableFile> copy_tables() {
    const TempFolder& folder = fuzz_folder();
    std::vector<TableFile> files;
    for (const auto& entry : std::filesystem::directory_iterator(data_file("syzygy"))) {
        const std::string name = entry.path().filename().string();
        if (name.ends_with(".tsv")) continue;
        std::filesystem::copy_file(entry.path(), folder.path / name);
        const TableKind kind = name.ends_with('z') ? DTZ_TABLE : WDL_TABLE;
        if (entry.file_size() <= LARGEST_FILE) files.push_back({name, folder.read(name), kind, {}, {}});
    }
    std::ranges::sort(files, {}, &TableFile::name);
    use_folder();
    for (const auto& row : read_rows(data_file("syzygy/oracle.tsv"))) {
        const Board board(row[0]);
        const TableEntry* const entry = find_table(material_key(make_probe_position(board.position), WHITE));
        for (TableFile& file : files) {
            if (!entry || !file.name.starts_with(entry->name + '.')) continue;
            file.material = entry->material;
            file.positions.push_back(row[0]);
        }
    }
    for (const TableFile& file : files) FUZZ_CHECK(!file.positions.empty(), file.name);
    return files;
}

// Four bytes: a place of three, whose top bit limits it to the head of the file, and a new value. The place 0x7FFFFF
// cuts the file instead.
std::string changed(std::string bytes, std::string_view edits) {
    const auto at = [&edits](std::size_t i) { return static_cast<std::size_t>(static_cast<unsigned char>(edits[i])); };
    for (; edits.size() >= 4 && !bytes.empty(); edits.remove_prefix(4)) {
        const std::size_t place = at(0) | at(1) << 8 | (at(2) & 127) << 16;
        const std::size_t reach = at(2) & 128 ? std::min(bytes.size(), HEAD_BYTES) : bytes.size();
        if (place == 0x7FFFFF) {
            bytes.resize(bytes.size() * at(3) / 256 / 64 * 64 + 16);
        } else {
            bytes[place % reach] = edits[3];
        }
    }
    return bytes;
}

// Values all over the table are in the format's range.
void check_values(const TableData& table, const TableFile& file, std::mt19937_64& random) {
    for (const EncodingSet& set : table.sets) {
        for (int i = 0; i < 16; ++i) {
            const std::uint64_t index = i == 0 ? 0 : i == 1 ? set.order.positions - 1 : random() % set.order.positions;
            const int value = stored_value(table, set, index);
            FUZZ_CHECK(value >= -1 && value <= 4095, file.name);
            if (file.kind != DTZ_TABLE || value < 0) continue;
            for (const int wdl : {-2, -1, 1, 2}) FUZZ_CHECK(mapped_dtz(table, set.dtz, value, wdl) >= -1, file.name);
        }
    }
}

// False when the file is rejected.
bool read_values(const TableFile& file, const std::string& bytes) {
    const auto memory = std::make_unique<std::uint8_t[]>(bytes.size());
    std::ranges::copy(bytes, memory.get());
    FileMap map;
    map.data = memory.get();
    map.size = bytes.size();
    TableData table;
    if (!set_up_table(table, map, file.material, file.kind)) return false;
    std::mt19937_64 random(7);
    check_values(table, file, random);
    // Another program may write to a mapped file. Values may then be wrong, but nothing is read outside the file.
    std::generate(memory.get(), memory.get() + bytes.size(), [&random] { return random(); });
    check_values(table, file, random);
    return true;
}

void probe(const std::string& fen) {
    static Board board;
    set_position(board.position, fen);
    const ProbePosition position = make_probe_position(board.position);
    int success;
    const int wdl = probe_wdl(position, success);
    FUZZ_CHECK(wdl >= -2 && wdl <= 2 && (success != PROBE_FAILED || wdl == 0), fen);
    const int dtz = probe_dtz(position, success);
    FUZZ_CHECK(std::abs(dtz) <= 200000 && (success != PROBE_FAILED || dtz == 0), fen + ' ' + std::to_string(dtz));
    Move move = NULL_MOVE;
    int result = -1;
    if (tb_probe_root_dtz(board.position, move, result)) {
        FUZZ_CHECK(result >= 0 && result <= 4 && is_legal_here(board.position, move), fen);
    }
    check_consistency(board.position);
}

// Under a new name first: the file that is mapped must not change.
void replace_file(const std::string& name, const std::string& bytes) {
    const TempFolder& folder = fuzz_folder();
    std::filesystem::rename(folder.write("new", bytes), folder.path / name);
}

}  // namespace

FUZZ_TARGET(tablebase) {
    static const std::vector<TableFile> files = copy_tables();
    if (input.empty()) return;
    const TableFile& file = files[static_cast<unsigned char>(input[0]) % files.size()];
    const std::string bytes = changed(file.bytes, input.substr(1));
    if (!read_values(file, bytes)) return;
    replace_file(file.name, bytes);
    use_folder();
    for (const std::string& fen : file.positions) probe(fen);
    replace_file(file.name, file.bytes);
}
