// The transposition table: geometry, replacement, the lock-free entries and the test of moves that come out.
#include "search/hash_table.h"

#include "frontend/base/output.h"
#include "frontend/base/program_end.h"
#include "frontend/base/settings.h"
#include "platform/memory.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "search/parallel.h"
#include "search/search_control.h"
#include "search/search_thread.h"

#include <pthread.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int MAX_HASH_MB = 32768;
constexpr std::uint32_t ENTRIES_PER_MB = 65536;
constexpr std::uint32_t SPARE_ENTRIES = 16;  // a bucket may start at the last index of a half and run past it
constexpr std::uint32_t PARALLEL_CLEAR_ENTRIES = 0x100000;
constexpr int BUCKET_SIZE = 4;
constexpr int MIN_AGED_DEPTH = -100;
constexpr std::uint32_t FILL_SAMPLE = 1000;
constexpr std::uint32_t MIN_FILL_ENTRIES = 3000;
constexpr int LAST_COMPLETED_PLY = 76;

constexpr int BOUND_SHIFT = 5;
constexpr int AGE_MASK = 31;

// One entry as the caches and other threads see it: two words, each read and written in one piece.
//   identity, from bit 0: 32 bits upper half of the key, 32 bits check word
//   content, from bit 0: 16 bits move, 16 static evaluation, 16 score, 8 depth, 8 flags (age, then bound type)
// The check word covers score and move, so a content word that belongs to another identity reads as a miss.
struct HashEntry {
    Relaxed<std::uint64_t> identity;
    Relaxed<std::uint64_t> content;
};
static_assert(sizeof(HashEntry) == 16);

struct HashTable {
    HashEntry* half[2] = {};  // by side to move; half[0] is the whole table
    std::uint64_t index_mask = ~std::uint64_t{0};
    std::uint32_t entry_count = 0;  // spare entries not counted
    LargeBlock block;
};
HashTable table;

std::uint32_t key_high(std::uint64_t key) {
    return static_cast<std::uint32_t>(key >> 32);
}

std::uint64_t make_identity(std::uint64_t key, Move move, int score) {
    const std::uint32_t sum = static_cast<std::uint32_t>(score) + (static_cast<std::uint32_t>(move) << 16) + 10000u;
    return key_high(key) | static_cast<std::uint64_t>(sum ^ static_cast<std::uint32_t>(key)) << 32;
}

// A content word and its fields.
struct Content {
    std::uint64_t word;

    Move move() const { return static_cast<Move>(word); }
    int eval() const { return static_cast<std::int16_t>(word >> 16); }
    int score() const { return static_cast<std::int16_t>(word >> 32); }
    int depth() const { return static_cast<std::int8_t>(word >> 48); }
    int bound() const { return static_cast<int>(word >> (56 + BOUND_SHIFT)); }
    int age() const { return static_cast<int>(word >> 56) & AGE_MASK; }
};

std::uint64_t make_content(Move move, int eval, int score, int depth, int flags) {
    return move | static_cast<std::uint64_t>(static_cast<std::uint16_t>(eval)) << 16 |
           static_cast<std::uint64_t>(static_cast<std::uint16_t>(score)) << 32 |
           static_cast<std::uint64_t>(static_cast<std::uint8_t>(depth)) << 48 | static_cast<std::uint64_t>(flags) << 56;
}

HashEntry* bucket_of(std::uint64_t key) {
    return table.half[key & 1] + (key & table.index_mask);
}

bool table_usable() {
    return search_control.hash_enabled && table.block.data;
}

// An entry of an earlier search loses depth at every probe, so that it gives way to fresh ones.
void age_entry(HashEntry& entry, Content content) {
    const int years = std::abs(search_control.hash_age - content.age());
    const int depth = content.depth();
    const int aged = std::max(depth - years, MIN_AGED_DEPTH);
    if (aged >= depth) return;
    constexpr std::uint64_t DEPTH_MASK = std::uint64_t{0xFF} << 48;
    entry.content = (content.word & ~DEPTH_MASK) | static_cast<std::uint64_t>(static_cast<std::uint8_t>(aged)) << 48;
}

[[gnu::cold, gnu::noinline]] void report_illegal_move(const Position& position, Move move, int code) {
    const std::lock_guard<std::mutex> lock(shared_lock);
    print_format("info fen %s", position_to_fen(position, true).c_str());
    print_format("info string illegal hash move: %s%s, flags= %x, code= %d\n", square_names[move_from(move)],
                 square_names[move_to(move)], move & MOVE_FLAGS, code);
}

struct ClearSlice {
    HashEntry* begin;
    std::size_t count;
};

// Only ever runs while nothing searches, so plain writes will do.
void clear_entries(const ClearSlice& slice) {
    std::memset(static_cast<void*>(slice.begin), 0, slice.count * sizeof(HashEntry));
}

void* clear_worker(void* slice) {
    clear_entries(*static_cast<const ClearSlice*>(slice));
    return nullptr;
}

}  // namespace

bool hash_allocate() {
    hash_free();
    const int megabytes = std::clamp(settings.hash_mb, 0, MAX_HASH_MB);
    if (megabytes > 0) {
        const std::uint32_t entries = static_cast<std::uint32_t>(megabytes) * ENTRIES_PER_MB;
        if (!allocate_large((std::size_t{entries} + SPARE_ENTRIES) * sizeof(HashEntry), table.block)) return false;
        table.half[WHITE] = static_cast<HashEntry*>(table.block.data);
        table.half[BLACK] = table.half[WHITE] + entries / 2;
        table.entry_count = entries;
        table.index_mask = bit(msb(entries / 2)) - 1;
        if (search_control.hash_suspended) search_control.hash_enabled = search_control.hash_suspended;
        search_control.hash_suspended = 0;
    } else {
        suspend_hash();
    }
    search_control.hash_fill = 0;
    print_format("info string allocated %d Mbytes for hash table", megabytes);
    print_line("info string Cleared hash table");
    return true;
}

void hash_free() {
    free_large(table.block);
    table = HashTable{};
}

void suspend_hash() {
    if (search_control.hash_enabled) search_control.hash_suspended = search_control.hash_enabled;
    search_control.hash_enabled = 0;
}

void hash_clear() {
    search_control.hash_fill = 0;
    if (!table_usable()) return;
    if (settings.threads <= 1 || table.entry_count <= PARALLEL_CLEAR_ENTRIES) {
        clear_entries({table.half[WHITE], table.entry_count});
    } else {
        hash_clear_parallel();
    }
}

void hash_clear_parallel() {
    if (!table.block.data) return;
    const int workers = std::clamp<int>(settings.threads, 1, MAX_THREADS);
    const std::size_t share = table.entry_count / static_cast<std::size_t>(workers);
    ClearSlice slices[MAX_THREADS];
    pthread_t threads[MAX_THREADS];
    int started = 0;
    for (int i = 0; i < workers; ++i) {
        const std::size_t start = share * static_cast<std::size_t>(i);
        slices[i] = {table.half[WHITE] + start, i + 1 < workers ? share : table.entry_count - start};
        if (pthread_create(&threads[i], nullptr, clear_worker, &slices[i]) != 0) {
            std::fprintf(stderr, "cannot create a thread that clears the hash table\n");
            end_program(-1);
            break;
        }
        ++started;
    }
    for (int i = 0; i < started; ++i) {
        if (pthread_join(threads[i], nullptr) != 0) end_program(-1);
    }
}

void hash_prefetch(std::uint64_t key) {
    if (!table.block.data) return;
    const HashEntry* const bucket = bucket_of(key);
    __builtin_prefetch(bucket);
    __builtin_prefetch(bucket + BUCKET_SIZE - 1);  // buckets overlap, so half of them lie on two lines
}

bool hash_probe(SearchThread& thread, HashHit& hit) {
    if (!table_usable()) return false;
    ++thread.tt_probes;
    const Position& position = thread.position;
    const std::uint64_t key = position.key;
    HashEntry* entry = bucket_of(key);
    HashEntry* const end = entry + BUCKET_SIZE;
    std::uint64_t identity = entry->identity;
    while (static_cast<std::uint32_t>(identity) != key_high(key)) {
        if (++entry == end) return false;
        identity = entry->identity;
    }
    const Content content{entry->content};
    age_entry(*entry, content);
    const Move move = content.move();
    if (identity != make_identity(key, move, content.score())) return false;
    if (const int code = check_hash_move(position, move)) [[unlikely]] {
        report_illegal_move(position, move, code);
        return false;
    }
    hit = {content.score(), content.eval(), content.depth(), content.bound(), move};
    ++thread.tt_hits;
    return true;
}

void hash_store(const Position& position, int ply, int depth, Move move, int eval, int score, int alpha, int beta) {
    if (!table_usable() || move == NULL_MOVE) return;
    const int bound = score <= alpha ? BOUND_UPPER : score >= beta ? BOUND_LOWER : BOUND_EXACT;
    // Mate distances count from this position, not from the root.
    if (score < -MATE_BOUND)
        score -= ply;
    else if (score > MATE_BOUND - 1)
        score += ply;

    const std::uint64_t key = position.key;
    const int age = search_control.hash_age;
    HashEntry* const bucket = bucket_of(key);
    HashEntry* slot = bucket;
    int slot_depth = 0;
    for (int i = 0; i < BUCKET_SIZE; ++i) {
        HashEntry& entry = bucket[i];
        const Content content{entry.content};
        const int entry_depth = content.depth();
        if (static_cast<std::uint32_t>(entry.identity) == key_high(key)) {
            if (entry_depth - 2 > depth) return;  // a much deeper result of the same position stays
            slot = &entry;
            break;
        }
        if (content.age() != age) {
            slot = &entry;
            break;
        }
        if (i == 0 || entry_depth < slot_depth) {
            slot = &entry;
            slot_depth = entry_depth;
        }
    }
    slot->identity = make_identity(key, move, score);
    slot->content = make_content(move, eval, score, depth, bound << BOUND_SHIFT | age);
}

void advance_hash_age() {
    const std::int16_t age = search_control.hash_age;
    if (age < 1)
        search_control.hash_age_step = 1;
    else if (age >= AGE_MASK)
        search_control.hash_age_step = -1;
    search_control.hash_age += search_control.hash_age_step;
}

float hash_fill() {
    std::uint32_t current = 0;
    if (table.entry_count >= MIN_FILL_ENTRIES) {
        const int age = search_control.hash_age;
        for (std::uint32_t i = 0; i < FILL_SAMPLE; ++i) current += Content{table.half[WHITE][i].content}.age() == age;
    }
    const float fill = static_cast<float>(current) / static_cast<float>(FILL_SAMPLE);
    search_control.hash_fill = fill;
    return fill;
}

void extend_line_from_hash(SearchThread& thread, int ply, Move* line) {
    Position& position = thread.position;
    int made = 0;
    while (true) {
        if (line[ply] == NULL_MOVE) {
            line[ply + 1] = NULL_MOVE;
            HashHit hit;
            if (!hash_probe(thread, hit) || is_draw(position, 0)) break;
            line[ply] = hit.move;
        }
        if (check_hash_move(position, line[ply]) != 0) break;
        if (ply >= LAST_COMPLETED_PLY || thread.game.game_ply + 1 >= GAME_STACK_SIZE) break;
        make_move(position, line[ply]);
        ++made;
        ++ply;
    }
    while (made-- > 0) unmake_move(position);
}

namespace {

// The codes that a failed hash-move check reports.
enum : int {
    MOVE_OK = 0,
    SAME_SQUARE = 1,
    NOT_A_PIECE = 2,  // nothing to move, or a king as the target
    NOT_OURS = 3,
    OWN_TARGET = 4,
    BAD_FLAGS = 6,
    BAD_PAWN_MOVE = 7,
    BAD_KNIGHT_MOVE = 8,
    BAD_BISHOP_MOVE = 9,
    BAD_ROOK_MOVE = 10,
    BAD_QUEEN_MOVE = 11,
    BAD_CASTLING = 12,
    BAD_KING_MOVE = 13,
    LEAVES_KING_ATTACKED = 14,
};

// In Chess960 the destination may hold the king itself or its own rook, so castling is told apart first.
int check_castling(const Position& position, int c, int from, int to, int flags) {
    if (relative_rank(c, from) != 0) return BAD_FLAGS;
    if (flags != MOVE_KING_SIDE && flags != MOVE_QUEEN_SIDE) return BAD_FLAGS;
    const int right = c * 2 + (flags == MOVE_KING_SIDE ? CASTLE_K : CASTLE_Q);
    const int file = flags == MOVE_KING_SIDE ? file_of(G1) : file_of(C1);
    if (to != make_square(file, rank_of(from)) || !(position.castling & 1 << right)) return BAD_CASTLING;
    return position.castle_path[right] & occupancy(position) ? BAD_CASTLING : MOVE_OK;
}

int check_pawn_move(const Position& position, int c, int from, int to, int target) {
    const int push = pawn_push(c);
    if (target != 0) return pawn_attacks[c][from] & bit(to) ? MOVE_OK : BAD_PAWN_MOVE;
    if (to == from + push) return MOVE_OK;
    if (to == from + 2 * push) {
        return relative_rank(c, from) == 1 && position.board[from + push] == 0 ? MOVE_OK : BAD_PAWN_MOVE;
    }
    const bool en_passant = to == position.ep_square && pawn_attacks[c][from] & bit(to) &&
                            position.board[to - push] == make_piece(c ^ 1, PAWN);
    return en_passant ? MOVE_OK : BAD_PAWN_MOVE;
}

bool slides(const Position& position, const Bitboard* rays, int from, int to) {
    return rays[from] & bit(to) && !(between[from][to] & occupancy(position));
}

int check_piece_move(const Position& position, int c, int from, int to, int target, int flags) {
    const int type = type_of(position.board[from]);
    if (type == PAWN) {
        const bool last_rank = relative_rank(c, to) == 7;
        if (flags == 0) {
            if (last_rank) return BAD_PAWN_MOVE;
        } else if (relative_rank(c, from) != 6 || (flags & (flags - 1)) != 0) {
            return BAD_FLAGS;
        }
        return check_pawn_move(position, c, from, to, target);
    }
    if (flags != 0) return BAD_FLAGS;
    switch (type) {
        case KNIGHT: return knight_attacks[from] & bit(to) ? MOVE_OK : BAD_KNIGHT_MOVE;
        case BISHOP: return slides(position, diagonal_rays, from, to) ? MOVE_OK : BAD_BISHOP_MOVE;
        case ROOK: return slides(position, orthogonal_rays, from, to) ? MOVE_OK : BAD_ROOK_MOVE;
        case QUEEN:
            return slides(position, diagonal_rays, from, to) || slides(position, orthogonal_rays, from, to)
                       ? MOVE_OK
                       : BAD_QUEEN_MOVE;
        default: return king_attacks[from] & bit(to) ? MOVE_OK : BAD_KING_MOVE;
    }
}

}  // namespace

int check_hash_move(const Position& position, Move move) {
    const int c = position.side;
    const int from = move_from(move);
    const int to = move_to(move);
    const int flags = move & MOVE_FLAGS;
    const int piece = position.board[from];
    const int target = position.board[to];
    int code;
    if (flags != 0 && piece == make_piece(c, KING)) {
        code = check_castling(position, c, from, to, flags);
    } else {
        if (from == to) return SAME_SQUARE;
        if (piece == 0 || type_of(target) >= KING) return NOT_A_PIECE;
        if (colour_of(piece) != c) return NOT_OURS;
        if (target != 0 && colour_of(target) == c) return OWN_TARGET;
        code = check_piece_move(position, c, from, to, target, flags);
    }
    if (code != MOVE_OK) return code;
    return is_legal(position, c, move) ? MOVE_OK : LEAVES_KING_ATTACKED;
}
