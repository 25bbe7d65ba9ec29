// Lookup of a position in a Polyglot book, the random choice among its records and their display. The file is
// opened, searched and closed at every probe.
#include "book/book_probe.h"

#include "book/book_key.h"
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "platform/file_path.h"
#include "position/movegen.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <fstream>
#include <span>
#include <string>

namespace {

constexpr int NEUTRAL_VARIETY = 25;     // the stored weights as they are
constexpr int WEIGHT_SCALE = 10000;     // adjusted weights sum to about this
constexpr float QUIET_NOISE = 9999.0f;  // console output is off from here

// The records of one position, in file order, and their adjusted weights.
struct BookEntries {
    std::array<BookEntry, MAX_BOOK_ENTRIES> entries;
    std::array<int, MAX_BOOK_ENTRIES> adjusted;
    std::size_t count = 0;
    int sum = 0;    // of the stored weights
    int total = 0;  // of the adjusted ones
};

// A number in 0..999 of a sequence that starts anew at every run of the program.
int next_random() {
    static std::uint32_t seed = static_cast<std::uint32_t>(std::time(nullptr));
    seed = seed * 12345u + 76543u;
    return static_cast<int>(seed % 1000);
}

std::uint64_t read_big_endian(const unsigned char* bytes, int size) {
    std::uint64_t value = 0;
    for (int i = 0; i < size; ++i) value = value << 8 | bytes[i];
    return value;
}

bool read_record(std::ifstream& file, std::int64_t index, BookEntry& entry) {
    unsigned char bytes[BOOK_RECORD_SIZE];
    file.seekg(index * BOOK_RECORD_SIZE);
    if (!file.read(reinterpret_cast<char*>(bytes), BOOK_RECORD_SIZE)) return false;
    entry.key = read_big_endian(bytes, 8);
    entry.move = static_cast<std::uint16_t>(read_big_endian(bytes + 8, 2));
    entry.weight = static_cast<std::uint16_t>(read_big_endian(bytes + 10, 2));
    entry.learn = static_cast<std::uint32_t>(read_big_endian(bytes + 12, 4));
    return true;
}

// Index of the last whole record, or -1 when there is none.
std::int64_t last_record(std::ifstream& file) {
    if (!file.seekg(-BOOK_RECORD_SIZE, std::ios::end)) return -1;
    const std::int64_t offset = file.tellg();
    return offset < 0 ? -1 : offset / BOOK_RECORD_SIZE;
}

// Index of the first record whose key is not less than `key`, the last record's if there is none; -1 when the
// file cannot be read or `last` is -1.
std::int64_t find_record(std::ifstream& file, std::int64_t last, std::uint64_t key) {
    BookEntry entry;
    std::int64_t lo = -1;
    std::int64_t hi = last;
    while (hi - lo > 1) {
        const std::int64_t mid = (lo + hi) / 2;
        if (!read_record(file, mid, entry)) return -1;
        (entry.key >= key ? hi : lo) = mid;
    }
    return hi;
}

// Collects the records of the key; none when the book is missing, damaged or does not know it.
void read_entries(std::ifstream& file, std::uint64_t key, BookEntries& found) {
    const std::int64_t first = find_record(file, last_record(file), key);
    for (std::int64_t i = first; i >= 0 && found.count < MAX_BOOK_ENTRIES; ++i) {
        BookEntry& entry = found.entries[found.count];
        if (!read_record(file, i, entry) || entry.key != key) return;
        found.sum += entry.weight;
        ++found.count;
    }
}

// Scales the weights, each with a bonus in proportion to the first one: a bonus above 0 brings the moves closer
// together, one below 0 spreads them and drops the weak ones. Some weight always remains: the heaviest record keeps
// at least three quarters of its own, which is more than 1/200 of the sum of 127 records.
void adjust_weights(BookEntries& found) {
    const int bonus = static_cast<int>((settings.book_variety - NEUTRAL_VARIETY) * (found.entries[0].weight * 0.01));
    for (std::size_t i = 0; i < found.count; ++i) {
        const int share = (found.entries[i].weight + bonus) * WEIGHT_SCALE / found.sum;
        found.adjusted[i] = std::max(share, 0);
        found.total += found.adjusted[i];
    }
}

// The record at a random point of the adjusted weights laid end to end. Records of weight 0 are left out of the
// line though not out of its length, so with a bonus above 0 their share falls to the last record that is in it.
// A point on a border belongs to the record that ends there, the point 0 to the first one.
const BookEntry& choose_entry(const BookEntries& found) {
    const int threshold = static_cast<int>(next_random() * 0.001 * found.total);
    const BookEntry* chosen = nullptr;
    int running = 0;
    for (std::size_t i = 0; i < found.count; ++i) {
        const BookEntry& entry = found.entries[i];
        if (entry.weight == 0) continue;
        if (!chosen || running < threshold) chosen = &entry;
        running += found.adjusted[i];
    }
    return *chosen;
}

int from_square(const BookEntry& entry) {
    return entry.move >> 6 & 63;
}
int to_square(const BookEntry& entry) {
    return entry.move & 63;
}
std::string move_squares(const BookEntry& entry) {
    return format_text("%s%s", square_names[from_square(entry)], square_names[to_square(entry)]);
}

void print_uci(const BookEntries& found) {
    std::string line = "info string ( book moves are: ";
    for (const BookEntry& entry : std::span(found.entries).first(found.count)) {
        if (entry.weight) line += move_squares(entry) + ' ';
    }
    print_line(line + " )");
}

void print_console(const BookEntries& found, const BookEntry& chosen) {
    for (std::size_t i = 0; i < found.count; ++i) {
        const BookEntry& entry = found.entries[i];
        if (entry.weight == 0) continue;
        print_format("  %s  cnt= %5d, weight= %5.2f%% -> %5.2f%%", move_squares(entry).c_str(), entry.weight,
                     100.0 * entry.weight / found.sum, 100.0 * found.adjusted[i] / found.total);
    }
    print_format("selecting %s", move_squares(chosen).c_str());
}

// The record's move as the engine writes it; it need not be possible in the position. Castling is stored as the
// king moving onto its own rook; a promotion code beside it repeats the engine's castling flag.
Move engine_move(const Position& position, const BookEntry& entry) {
    constexpr Move promotion_flags[8] = {0, MOVE_KNIGHT, MOVE_BISHOP, MOVE_ROOK, MOVE_QUEEN, 0, 0, 0};
    const int from = from_square(entry);
    const int to = to_square(entry);
    const int home_rank = position.side == WHITE ? 0 : 7;
    if (position.board[from] == make_piece(position.side, KING) && from == make_square(4, home_rank)) {
        if (to == make_square(7, home_rank)) return make_move_word(from, make_square(6, home_rank), MOVE_KING_SIDE);
        if (to == make_square(0, home_rank)) return make_move_word(from, make_square(2, home_rank), MOVE_QUEEN_SIDE);
    }
    return make_move_word(from, to, promotion_flags[entry.move >> 12 & 7]);
}

// A book is anybody's file, and keys can collide: the move must be one that the generator gives, since the
// legality test alone takes pseudo-legal moves for granted.
bool can_be_played(Position& position, Move move) {
    if (!is_playable(position)) return false;
    const std::span<MoveEntry> generated = entries_of(gen_all(position));
    const bool found = std::ranges::find(generated, move, &MoveEntry::move) != generated.end();
    return found && is_legal(position, position.side, move);
}

}  // namespace

Move book_probe(Position& position, const char* name) {
    if (!*name) return NULL_MOVE;
    std::ifstream file(file_path(name), std::ios::binary);
    if (!file) return NULL_MOVE;
    BookEntries found;
    read_entries(file, book_key(position), found);
    file.close();
    if (found.sum == 0) return NULL_MOVE;

    adjust_weights(found);
    const BookEntry& chosen = choose_entry(found);
    if (settings.uci_mode) {
        print_uci(found);
    } else if (settings.noise < QUIET_NOISE) {
        print_console(found, chosen);
    }
    const Move move = engine_move(position, chosen);
    return can_be_played(position, move) ? move : NULL_MOVE;
}
