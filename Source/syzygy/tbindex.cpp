// Ranking of piece placements: symmetries first, then combinatorial numbers.
#include "syzygy/tbindex.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

constexpr int MAX_GROUP = 6;
constexpr int TRIANGLE_SQUARES = 10;  // a1-d1-d4
constexpr int KING_PAIRS = 462;
constexpr int SINGLE_TRIPLES = 31332;

// C(n, k)
constexpr auto BINOMIAL = [] {
    std::array<std::array<std::uint64_t, 64>, MAX_GROUP + 1> table{};
    for (std::size_t n = 0; n < 64; ++n) {
        table[0][n] = 1;
        for (std::size_t k = 1; k <= MAX_GROUP; ++k) table[k][n] = n == 0 ? 0 : table[k - 1][n - 1] + table[k][n - 1];
    }
    return table;
}();

std::uint64_t choose(int n, int k) {
    return BINOMIAL[static_cast<std::size_t>(k)][static_cast<std::size_t>(n)];
}

// Numbers of the triangle's squares: the six below the diagonal, then the four on it.
constexpr auto TRIANGLE = [] {
    std::array<std::int8_t, 64> table{};
    std::int8_t next = 0;
    for (int rank = 0; rank < 4; ++rank) {
        for (int file = rank + 1; file < 4; ++file) table[static_cast<std::size_t>(make_square(file, rank))] = next++;
    }
    for (int i = 0; i < 4; ++i) table[static_cast<std::size_t>(make_square(i, i))] = next++;
    return table;
}();

// Numbers of the 28 squares below the long diagonal, rank by rank.
constexpr auto BELOW_DIAGONAL = [] {
    std::array<std::int8_t, 64> table{};
    std::int8_t next = 0;
    for (int rank = 0; rank < 8; ++rank) {
        for (int file = rank + 1; file < 8; ++file) table[static_cast<std::size_t>(make_square(file, rank))] = next++;
    }
    return table;
}();

// Numbers of the legal placements of two kings: first king in the triangle; when it stands on the diagonal the
// second is on it or below. Pairs with both on the diagonal come last. -1: no such pair.
constexpr auto KING_PAIR = [] {
    std::array<std::array<std::int16_t, 64>, TRIANGLE_SQUARES> table{};
    for (auto& row : table) row.fill(-1);
    std::int16_t next = 0;
    for (int pass = 0; pass < 3; ++pass) {  // first king off the diagonal; on it, second below; both on it
        for (int rank = 0; rank < 4; ++rank) {
            for (int file = rank; file < 4; ++file) {
                if ((file == rank) != (pass > 0)) continue;
                const auto first =
                    static_cast<std::size_t>(TRIANGLE[static_cast<std::size_t>(make_square(file, rank))]);
                for (int square = 0; square < 64; ++square) {
                    const int files = file_of(square) - file;
                    const int ranks = rank_of(square) - rank;
                    if (files >= -1 && files <= 1 && ranks >= -1 && ranks <= 1) continue;
                    const int above = rank_of(square) - file_of(square);
                    if (pass == 1 ? above >= 0 : pass == 2 && above != 0) continue;
                    table[first][static_cast<std::size_t>(square)] = next++;
                }
            }
        }
    }
    return table;
}();

// A leading pawn is ranked by file from the edge, then by rank: a2..a7 0-5, b2.. 6-11, ... d7 23.
constexpr int leading_rank(int square) {
    return 6 * std::min(file_of(square), 7 - file_of(square)) + rank_of(square) - 1;
}

// The further pawns by a number that falls from a2 (47), h2 (46), a3 (45) ... to d7 (1), e7 (0), so that the
// squares open to them, given the leading pawn, are those with smaller numbers.
constexpr int pawn_number(int square) {
    const int file = file_of(square);
    return (file < 4 ? 47 - 12 * file : 46 - 12 * (7 - file)) - 2 * (rank_of(square) - 1);
}

// For up to five leading pawns: the first rank number of each leading square within its file, and the number of
// placements of each file.
struct PawnRanks {
    std::uint64_t start[5][24];
    std::uint64_t placements[5][4];
};
constexpr PawnRanks PAWN_RANKS = [] {
    PawnRanks table{};
    for (int others = 0; others < 5; ++others) {
        for (int file = 0; file < 4; ++file) {
            std::uint64_t sum = 0;
            for (int rank = 1; rank < 7; ++rank) {
                const int square = make_square(file, rank);
                table.start[others][leading_rank(square)] = sum;
                sum += BINOMIAL[static_cast<std::size_t>(others)][static_cast<std::size_t>(pawn_number(square))];
            }
            table.placements[others][file] = sum;
        }
    }
    return table;
}();

int above_diagonal(int square) {
    return rank_of(square) - file_of(square);
}
int diagonal_number(int square) {
    return rank_of(square);
}

void mirror_files(int* squares, int count) {
    for (int i = 0; i < count; ++i) squares[i] ^= 7;
}

// Moves the first piece into the triangle a1-d1-d4, and the first of the leading pieces that is off the long
// diagonal below it.
void mirror_into_triangle(int* squares, int count, int leading) {
    if ((squares[0] & 4) != 0) mirror_files(squares, count);
    if ((squares[0] & 32) != 0) {
        for (int i = 0; i < count; ++i) squares[i] ^= 56;
    }
    for (int i = 0; i < leading; ++i) {
        if (above_diagonal(squares[i]) == 0) continue;
        if (above_diagonal(squares[i]) > 0) {
            for (int k = 0; k < count; ++k) squares[k] = make_square(rank_of(squares[k]), file_of(squares[k]));
        }
        return;
    }
}

// Three different pieces: four ranges, by the number of leading pieces on the long diagonal. Later pieces skip
// the squares that earlier ones take.
std::uint64_t rank_three_singles(const int* squares) {
    const int a = squares[0], b = squares[1], c = squares[2];
    const int skip_b = b > a ? 1 : 0;
    const int skip_c = (c > a ? 1 : 0) + (c > b ? 1 : 0);
    constexpr int FIRST_OFF = 6 * 63 * 62, SECOND_OFF = 4 * 28 * 62, THIRD_OFF = 4 * 7 * 28;
    int rank;
    if (above_diagonal(a) != 0) {
        rank = TRIANGLE[static_cast<std::size_t>(a)] * 63 * 62 + (b - skip_b) * 62 + c - skip_c;
    } else if (above_diagonal(b) != 0) {
        rank = FIRST_OFF + diagonal_number(a) * 28 * 62 + BELOW_DIAGONAL[static_cast<std::size_t>(b)] * 62 + c - skip_c;
    } else if (above_diagonal(c) != 0) {
        rank = FIRST_OFF + SECOND_OFF + diagonal_number(a) * 7 * 28 + (diagonal_number(b) - skip_b) * 28 +
               BELOW_DIAGONAL[static_cast<std::size_t>(c)];
    } else {
        rank = FIRST_OFF + SECOND_OFF + THIRD_OFF + diagonal_number(a) * 7 * 6 + (diagonal_number(b) - skip_b) * 6 +
               diagonal_number(c) - skip_c;
    }
    return static_cast<std::uint64_t>(rank);
}

std::uint64_t rank_two_kings(const int* squares) {
    const int pair = KING_PAIR[static_cast<std::size_t>(TRIANGLE[static_cast<std::size_t>(squares[0])])]
                              [static_cast<std::size_t>(squares[1])];
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(pair));  // -1 lands outside every table
}

std::uint64_t rank_leading_pawns(int* squares, int pawns) {
    std::sort(squares + 1, squares + pawns, [](int a, int b) { return pawn_number(a) > pawn_number(b); });
    std::uint64_t rank = PAWN_RANKS.start[pawns - 1][leading_rank(squares[0])];
    for (int i = 1; i < pawns; ++i) rank += choose(pawn_number(squares[i]), pawns - i);
    return rank;
}

// Combination number of like pieces among the squares that are still free. `offset`: squares below the lowest
// possible one.
std::uint64_t rank_like_pieces(int* squares, const PieceGroup& group, int offset) {
    int* const first = squares + group.first;
    std::sort(first, first + group.size);
    std::uint64_t rank = 0;
    for (int i = 0; i < group.size; ++i) {
        const int taken = static_cast<int>(std::count_if(squares, first, [&](int s) { return s < first[i]; }));
        rank += choose(first[i] - taken - offset, i + 1);
    }
    return rank;
}

bool matches_material(const PieceOrder& order, const Material& material) {
    int found = 0;
    for (int side = 0; side < 2; ++side) {
        for (int type = PAWN; type <= KING; ++type) {
            const auto* const begin = order.pieces;
            const auto* const end = order.pieces + order.count;
            const auto code = static_cast<std::uint8_t>(make_piece(side, type));
            const auto* run = std::find(begin, end, code);
            for (int i = 0; i < material.counts[side][type]; ++i, ++run) {  // like pieces stand together
                if (run == end || *run != code) return false;
                ++found;
            }
        }
    }
    return found == order.count;
}

void find_groups(PieceOrder& order, int leading, int other_pawns) {
    order.group_count = 0;
    const auto add = [&](int first, int size) {
        order.groups[order.group_count++] = {static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(size), 0};
    };
    add(0, leading);
    if (other_pawns > 0) add(leading, other_pawns);
    for (int first = leading + other_pawns; first < order.count;) {
        int size = 1;
        while (first + size < order.count && order.pieces[first + size] == order.pieces[first]) ++size;
        add(first, size);
        first += size;
    }
}

bool leads_as_it_must(const PieceOrder& order, const Material& material) {
    const auto* const pieces = order.pieces;
    if (material.has_pawns) {
        const int other = material.leading_side ^ 1;
        return pieces[0] == make_piece(material.leading_side, PAWN) &&
               (material.other_pawns == 0 || pieces[material.leading_pawns] == make_piece(other, PAWN));
    }
    if (material.only_kings_single) return type_of(pieces[0]) == KING && type_of(pieces[1]) == KING;
    for (int i = 0; i < 3; ++i) {
        if (material.counts[colour_of(pieces[i])][type_of(pieces[i])] != 1) return false;
    }
    return true;
}

}  // namespace

bool set_up_order(PieceOrder& order, const Material& material, int lead_slot, int pawn_slot, int file) {
    order.count = material.pieces;
    if (!matches_material(order, material) || !leads_as_it_must(order, material)) return false;
    const int leading = material.has_pawns ? material.leading_pawns : material.only_kings_single ? 2 : 3;
    const bool pawns_on_both_sides = material.other_pawns > 0;
    find_groups(order, leading, material.other_pawns);
    if (lead_slot >= order.group_count) return false;
    if (pawns_on_both_sides && (pawn_slot >= order.group_count || pawn_slot == lead_slot)) return false;

    std::uint64_t factor = 1;
    int free_squares = 64 - leading - material.other_pawns;
    int next = pawns_on_both_sides ? 2 : 1;
    for (int slot = 0; slot < order.group_count; ++slot) {
        std::uint64_t placements;
        int group;
        if (slot == lead_slot) {
            group = 0;
            placements = material.has_pawns           ? PAWN_RANKS.placements[leading - 1][file]
                         : material.only_kings_single ? KING_PAIRS
                                                      : SINGLE_TRIPLES;
        } else if (pawns_on_both_sides && slot == pawn_slot) {
            group = 1;
            placements = choose(48 - leading, material.other_pawns);
        } else {
            group = next++;
            placements = choose(free_squares, order.groups[group].size);
            free_squares -= order.groups[group].size;
        }
        order.groups[group].factor = factor;
        factor *= placements;
    }
    order.positions = factor;
    return true;
}

int take_leading_pawn(int* squares, int pawns) {
    for (int i = 1; i < pawns; ++i) {
        if (leading_rank(squares[i]) < leading_rank(squares[0])) std::swap(squares[0], squares[i]);
    }
    return std::min(file_of(squares[0]), 7 - file_of(squares[0]));
}

std::uint64_t position_index(const PieceOrder& order, const Material& material, int* squares) {
    const int leading = order.groups[0].size;
    std::uint64_t rank;
    if (material.has_pawns) {
        if (file_of(squares[0]) > 3) mirror_files(squares, order.count);
        rank = rank_leading_pawns(squares, leading);
    } else {
        mirror_into_triangle(squares, order.count, leading);
        rank = leading == 2 ? rank_two_kings(squares) : rank_three_singles(squares);
    }
    std::uint64_t index = rank * order.groups[0].factor;
    for (int i = 1; i < order.group_count; ++i) {
        const PieceGroup& group = order.groups[i];
        const bool pawns = i == 1 && material.other_pawns > 0;
        index += rank_like_pieces(squares, group, pawns ? 8 : 0) * group.factor;
    }
    return index;
}
