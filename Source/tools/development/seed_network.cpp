// Writes the seed network: a network file whose hidden units are set by hand to the chess knowledge below, so that
// the engine plays sensibly from its first build and training has something to start from.
//
// Usage: seed_network FILE
//
// How a hidden unit holds knowledge. Both perspectives run through the same first layer, so a unit computes one
// feature of the perspective's own side, and the output row weighs it +w for the side to move and -w for the other:
//
//     score = sum over units of w * (act(x of the side to move) - act(x of the other side)) * 400 / 2048^2
//
// act(x) is x for x >= 0 and x / 64, rounded toward zero, below: -63 to -1 give 0. A weight w and a value x thus
// make w * x / 10485.76 centipawns.
//
// * Material and square values are two units, middle game and end game, of two units of x per centipawn. A bias
//   keeps them positive, where act is the identity, and cancels between the sides. The material of nine queens and
//   all other pieces stays below 26,000 and so far from saturation. The output rows blend the two by the material on
//   the board.
// * A condition is a unit that is positive only when it holds: "own pawn on e5, no enemy pawn on d6-f7" is +8 for the
//   pawn and -8 for each such enemy pawn. The values are small so that a failed condition stays above -64 and leaves
//   nothing behind. As a weight makes at most 3.1 centipawns of a unit of x, a large bonus is shared by equal units.
//
// Squares are as the perspective sees them: its own back rank is rank 0, and the board is mirrored so that its own
// king stands on files e-h. Values are centipawns, {middle game, end game}. Both king buckets hold the same.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int HIDDEN = 1536;
constexpr int BUCKETS = 2;
constexpr int INPUTS = 768;
constexpr int ROWS = 8;
constexpr int USED_ROWS = 5;
constexpr double OUTPUT_PER_CENTIPAWN = 2048.0 * 2048.0 / 400.0;
constexpr int UNITS_PER_CENTIPAWN = 2;
constexpr int CONDITION = 8;  // value of a condition that holds
constexpr int FAINT = 4;      // the same for conditions of very many pieces

// Share of the middle-game value in each output row, from all pieces on the board to at most a rook a side.
constexpr double MIDDLE_GAME[USED_ROWS] = {1.0, 0.75, 0.5, 0.2, 0.0};

enum Side { OWN = 0, ENEMY = 384 };
enum Type { KING = 0, PAWN = 64, KNIGHT = 128, BISHOP = 192, ROOK = 256, QUEEN = 320 };

struct Value {
    double middle;
    double end;
};

std::vector<std::int16_t> values;  // rows of inputs, output rows, biases

std::int16_t& input_weight(int bucket, int input, int unit) {
    return values[static_cast<std::size_t>((bucket * INPUTS + input) * HIDDEN + unit)];
}
std::int16_t& output_weight(int row, int half, int unit) {
    return values[static_cast<std::size_t>(BUCKETS * INPUTS * HIDDEN + row * 2 * HIDDEN + half * HIDDEN + unit)];
}
std::int16_t& bias(int half, int unit) {
    return values[static_cast<std::size_t>(BUCKETS * INPUTS * HIDDEN + ROWS * 2 * HIDDEN + half * HIDDEN + unit)];
}

std::int16_t to_int16(double value) {
    const double rounded = std::round(value);
    if (rounded < -32768 || rounded > 32767) {
        std::fprintf(stderr, "weight %.0f does not fit\n", rounded);
        std::exit(1);
    }
    return static_cast<std::int16_t>(rounded);
}

// One feature: a hidden unit, or several equal ones that share its score. Units are handed out in order.
class Unit {
public:
    explicit Unit(int copies = 1) : first_(next_), copies_(copies) {
        next_ += copies;
        if (next_ > HIDDEN) {
            std::fprintf(stderr, "no hidden units left\n");
            std::exit(1);
        }
    }

    void piece(Side side, Type type, int square, double weight) const {
        for (int bucket = 0; bucket < BUCKETS; ++bucket) {
            for (int unit = first_; unit < first_ + copies_; ++unit) {
                std::int16_t& w = input_weight(bucket, static_cast<int>(side) + type + square, unit);
                w = to_int16(w + weight);
            }
        }
    }
    void start(double value) const {
        for (int unit = first_; unit < first_ + copies_; ++unit) bias(0, unit) = bias(1, unit) = to_int16(value);
    }
    // Centipawns for one unit of x to the side whose unit it is, when it is to move and when it is not.
    void score(Value mover, Value waiter) const {
        for (int row = 0; row < ROWS; ++row) {
            const double middle = row < USED_ROWS ? MIDDLE_GAME[row] : 0.0;
            const auto weight = [this, middle](Value v) {
                return to_int16((middle * v.middle + (1.0 - middle) * v.end) * OUTPUT_PER_CENTIPAWN / copies_);
            };
            for (int unit = first_; unit < first_ + copies_; ++unit) {
                output_weight(row, 0, unit) = weight(mover);
                output_weight(row, 1, unit) = static_cast<std::int16_t>(-weight(waiter));
            }
        }
    }
    void score(Value value) const { score(value, value); }
    // The same for a unit that is `value` when its condition holds.
    void worth(Value mover, Value waiter, int value = CONDITION) const {
        score({mover.middle / value, mover.end / value}, {waiter.middle / value, waiter.end / value});
    }
    void worth(Value both) const { worth(both, both); }

private:
    int first_;
    int copies_;
    static int next_;
};
int Unit::next_ = 0;

// Equal units that a score needs when the unit is `value`.
int copies_for(double centipawns, int value) {
    return static_cast<int>(std::ceil(centipawns * OUTPUT_PER_CENTIPAWN / value / 32767));
}

int file_of(int square) {
    return square & 7;
}
int rank_of(int square) {
    return square >> 3;
}
int distance(int a, int b) {
    return std::max(std::abs(file_of(a) - file_of(b)), std::abs(rank_of(a) - rank_of(b)));
}
// 0 in the corners to 6 on the four centre squares.
int centrality(int square) {
    constexpr int STEPS[8] = {0, 1, 2, 3, 3, 2, 1, 0};
    return STEPS[file_of(square)] + STEPS[rank_of(square)];
}

constexpr Type PIECE_TYPES[] = {KNIGHT, BISHOP, ROOK, QUEEN};

// --- material and squares ---

Value pawn_value(int square) {
    constexpr double MIDDLE_RANK[8] = {0, 0, 3, 8, 14, 24, 36, 0};
    constexpr double END_RANK[8] = {0, 0, 3, 8, 16, 28, 42, 0};
    const int file = file_of(square);
    const int rank = rank_of(square);
    Value v{82 + MIDDLE_RANK[rank], 100 + END_RANK[rank]};
    if ((file == 3 || file == 4) && rank >= 2) v.middle += rank == 2 ? 8 : 18;
    if (file == 2 && rank >= 3) v.middle += 6;
    if (file >= 5) v.middle -= 7 * std::max(0, rank - 1) - (rank == 1 ? 4 : 0);  // the king's cover stays at home
    if (file == 0 || file == 7) v.middle -= 8;
    return v;
}

Value knight_value(int square) {
    const int rank = rank_of(square);
    Value v{325 - 42 + 9.0 * centrality(square), 300 - 30 + 7.0 * centrality(square)};
    if (rank >= 3 && rank <= 5) v.middle += 8;
    if (rank == 0) v.middle -= 10;
    return v;
}

Value bishop_value(int square) {
    Value v{335 - 10 + 4.0 * centrality(square), 312 - 8 + 3.0 * centrality(square)};
    const bool long_diagonal = file_of(square) == rank_of(square) || file_of(square) + rank_of(square) == 7;
    if (long_diagonal) v.middle += 6;
    if (rank_of(square) == 0) v.middle -= 12;
    return v;
}

Value rook_value(int square) {
    Value v{465, 525};
    if (file_of(square) == 3 || file_of(square) == 4) v.middle += 6;
    if (rank_of(square) == 6) v = {v.middle + 18, v.end + 14};
    return v;
}

Value queen_value(int square) {
    Value v{985 - 4 + 1.5 * centrality(square), 965 - 16 + 5.0 * centrality(square)};
    if (rank_of(square) >= 2 && rank_of(square) <= 4) v.middle -= 4;  // no hurry to bring it out
    return v;
}

Value king_value(int square) {
    constexpr double BACK_RANK[8] = {0, 0, 0, 0, 6, 0, 34, 26};
    const int rank = rank_of(square);
    const double middle = rank == 0 ? BACK_RANK[file_of(square)] : rank == 1 ? -18 : -30 - 14 * (rank - 1);
    return {middle, -24 + 9.0 * centrality(square)};
}

void material_and_squares() {
    constexpr struct {
        Type type;
        Value (*value)(int);
    } PIECES[] = {{PAWN, pawn_value}, {KNIGHT, knight_value}, {BISHOP, bishop_value},
                  {ROOK, rook_value}, {QUEEN, queen_value},   {KING, king_value}};
    const Unit middle;
    const Unit end;
    for (const auto& piece : PIECES) {
        for (int square = 0; square < 64; ++square) {
            const Value v = piece.value(square);
            middle.piece(OWN, piece.type, square, v.middle * UNITS_PER_CENTIPAWN);
            end.piece(OWN, piece.type, square, v.end * UNITS_PER_CENTIPAWN);
        }
    }
    for (const Unit& unit : {middle, end}) unit.start(300);
    middle.score({1.0 / UNITS_PER_CENTIPAWN, 0});
    end.score({0, 1.0 / UNITS_PER_CENTIPAWN});
}

void right_to_move() {
    const Unit unit;
    unit.start(CONDITION);
    unit.worth({14, 8}, {0, 0});
}

// --- pawns ---

// Squares on the file and its neighbours from which an enemy pawn can stop or take a pawn on its way.
bool in_front_span(int pawn, int square) {
    return std::abs(file_of(square) - file_of(pawn)) <= 1 && rank_of(square) > rank_of(pawn);
}

void pawn_file(const Unit& unit, Side side, int file, double weight) {
    if (file < 0 || file > 7) return;
    for (int rank = 1; rank < 7; ++rank) unit.piece(side, PAWN, rank * 8 + file, weight);
}

void doubled_and_isolated_pawns() {
    for (int file = 0; file < 8; ++file) {
        const Unit doubled;
        doubled.start(-CONDITION);
        pawn_file(doubled, OWN, file, CONDITION);
        doubled.worth({-9, -16});

        const Unit isolated;
        pawn_file(isolated, OWN, file, CONDITION);
        pawn_file(isolated, OWN, file - 1, -2 * CONDITION);
        pawn_file(isolated, OWN, file + 1, -2 * CONDITION);
        isolated.worth({-8, -11});
    }
}

void protected_pawns() {
    for (int square = 16; square < 56; ++square) {
        const Unit unit;
        unit.start(-2 * CONDITION);
        unit.piece(OWN, PAWN, square, 2 * CONDITION);
        if (file_of(square) > 0) unit.piece(OWN, PAWN, square - 9, CONDITION);
        if (file_of(square) < 7) unit.piece(OWN, PAWN, square - 7, CONDITION);
        unit.worth({7, 6});
    }
}

void passed_pawn(const Unit& unit, int pawn, int value) {
    unit.piece(OWN, PAWN, pawn, value);
    for (int square = 8; square < 56; ++square) {
        if (in_front_span(pawn, square)) unit.piece(ENEMY, PAWN, square, -value);
    }
}

void passed_pawns() {
    constexpr Value BONUS[8] = {{0, 0}, {2, 6}, {4, 12}, {10, 24}, {22, 44}, {38, 76}, {60, 120}, {0, 0}};
    for (int pawn = 8; pawn < 56; ++pawn) {
        const Value bonus = BONUS[rank_of(pawn)];
        const Unit passed(copies_for(bonus.end, CONDITION));
        passed_pawn(passed, pawn, CONDITION);
        passed.worth(bonus);
    }
}

// In the end game: the own king near the square in front of the passed pawn, the other one far away.
void kings_and_passed_pawns() {
    constexpr double PER_STEP[8] = {0, 0, 0, 0.8, 1.4, 2.2, 2.8, 0};
    constexpr int PRESENT = 15;  // above the 7 + 7 steps of the kings
    for (int pawn = 24; pawn < 56; ++pawn) {
        const Unit unit;
        passed_pawn(unit, pawn, PRESENT);
        unit.start(-PRESENT);
        for (int square = 0; square < 64; ++square) {
            const int steps = distance(square, pawn + 8);
            unit.piece(OWN, KING, square, 7 - steps);
            unit.piece(ENEMY, KING, square, steps);
        }
        unit.score({0, PER_STEP[rank_of(pawn)]});
    }
}

// A passed pawn that nobody stops: no enemy piece, and the enemy king is late even when it moves first.
void runaway_pawns() {
    for (int pawn = 24; pawn < 56; ++pawn) {
        const double bonus = 60 + 14 * rank_of(pawn);
        const Unit unit(copies_for(bonus, FAINT));
        passed_pawn(unit, pawn, FAINT);
        for (int square = 0; square < 64; ++square) {
            for (const Type type : PIECE_TYPES) unit.piece(ENEMY, type, square, -FAINT);
            const bool in_time = distance(square, 56 + file_of(pawn)) <= 7 - rank_of(pawn) + 1;
            if (in_time) unit.piece(ENEMY, KING, square, -FAINT);
        }
        unit.worth({bonus, bonus}, {bonus, bonus}, FAINT);
    }
}

// --- pieces ---

void bishop_pair() {
    const Unit unit(2);
    unit.start(-CONDITION);
    for (int square = 0; square < 64; ++square) unit.piece(OWN, BISHOP, square, CONDITION);
    unit.worth({28, 44});
}

void rooks_on_open_files() {
    for (int file = 0; file < 8; ++file) {
        const Unit half_open;
        const Unit open;
        for (int rank = 0; rank < 8; ++rank) {
            half_open.piece(OWN, ROOK, rank * 8 + file, CONDITION);
            open.piece(OWN, ROOK, rank * 8 + file, CONDITION);
        }
        pawn_file(half_open, OWN, file, -2 * CONDITION);
        pawn_file(open, OWN, file, -2 * CONDITION);
        pawn_file(open, ENEMY, file, -2 * CONDITION);
        half_open.worth({10, 6});
        open.worth({14, 6});
    }
}

// Knights that a pawn protects and no enemy pawn can ever drive away.
void knight_outposts() {
    for (int square = 24; square < 48; ++square) {
        if (file_of(square) == 0 || file_of(square) == 7) continue;
        const Unit unit;
        unit.start(-2 * CONDITION);
        unit.piece(OWN, KNIGHT, square, 2 * CONDITION);
        unit.piece(OWN, PAWN, square - 9, CONDITION);
        unit.piece(OWN, PAWN, square - 7, CONDITION);
        for (int pawn = 8; pawn < 56; ++pawn) {
            if (in_front_span(square, pawn) && file_of(pawn) != file_of(square)) {
                unit.piece(ENEMY, PAWN, pawn, -2 * CONDITION);
            }
        }
        unit.worth({18, 10});
    }
}

// Pieces that an enemy pawn attacks: the side to move may still save one.
void pieces_attacked_by_pawns() {
    for (int square = 0; square < 48; ++square) {
        const Unit unit(2);
        unit.start(-2 * CONDITION);
        for (const Type type : PIECE_TYPES) unit.piece(OWN, type, square, 2 * CONDITION);
        if (file_of(square) > 0) unit.piece(ENEMY, PAWN, square + 7, CONDITION);
        if (file_of(square) < 7) unit.piece(ENEMY, PAWN, square + 9, CONDITION);
        unit.worth({-12, -12}, {-45, -45});
    }
}

// --- king safety ---

// No own pawn on the first ranks in front of a king at home, on its own file or beside it.
void king_cover() {
    for (int king_file = 4; king_file < 8; ++king_file) {
        for (int file = king_file - 1; file <= king_file + 1 && file < 8; ++file) {
            const Unit unit;
            for (const int rank : {0, 1}) unit.piece(OWN, KING, rank * 8 + king_file, CONDITION);
            for (const int rank : {1, 2, 3}) unit.piece(OWN, PAWN, rank * 8 + file, -CONDITION);
            unit.worth({file == king_file ? -20.0 : -14.0, 0});
        }
    }
}

// Enemy pieces near a king at home: three centipawns a unit of x. 63 keeps the unit of an empty king square silent.
void enemies_near_king() {
    constexpr int PRESENT = 63;
    for (int king = 4; king < 16; ++king) {
        if (file_of(king) < 4) continue;
        const Unit unit;
        unit.start(-PRESENT);
        unit.piece(OWN, KING, king, PRESENT);
        for (int square = 0; square < 64; ++square) {
            const int steps = distance(king, square);
            const bool near = steps <= 2;
            const bool in_reach = steps <= 3;
            if (in_reach) unit.piece(ENEMY, QUEEN, square, near ? 10 : 6);
            if (in_reach) unit.piece(ENEMY, KNIGHT, square, near ? 6 : 4);
            if (near) unit.piece(ENEMY, BISHOP, square, 4);
            if (near) unit.piece(ENEMY, ROOK, square, 5);
            if (near) unit.piece(ENEMY, PAWN, square, 3);
            if (std::abs(file_of(square) - file_of(king)) <= 1 && !near) unit.piece(ENEMY, ROOK, square, 2);
        }
        unit.score({-3, 0});
    }
}

// A king that walked to the f- or g-file instead of castling shuts in its rook.
void shut_in_rook() {
    const Unit unit(2);
    unit.start(-CONDITION);
    for (const int square : {5, 6}) unit.piece(OWN, KING, square, CONDITION);
    for (const int square : {6, 7, 15}) unit.piece(OWN, ROOK, square, CONDITION);
    unit.worth({-40, -10});
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: seed_network FILE\n");
        return 1;
    }
    values.assign(static_cast<std::size_t>(BUCKETS * INPUTS * HIDDEN + ROWS * 2 * HIDDEN + 2 * HIDDEN), 0);
    material_and_squares();
    right_to_move();
    doubled_and_isolated_pawns();
    protected_pawns();
    passed_pawns();
    kings_and_passed_pawns();
    runaway_pawns();
    bishop_pair();
    rooks_on_open_files();
    knight_outposts();
    pieces_attacked_by_pawns();
    king_cover();
    enemies_near_king();
    shut_in_rook();

    const std::int16_t header[10] = {752, 2048, 2048, 400, BUCKETS, 5, HIDDEN, 0, 0, 5};
    const auto count = static_cast<std::int32_t>(values.size());
    std::FILE* file = std::fopen(argv[1], "wb");
    if (!file) {
        std::perror(argv[1]);
        return 1;
    }
    bool written = std::fwrite(header, sizeof header, 1, file) == 1;
    written &= std::fwrite(&count, sizeof count, 1, file) == 1;
    written &= std::fwrite(values.data(), sizeof(std::int16_t), values.size(), file) == values.size();
    written &= std::fclose(file) == 0;
    if (!written) {
        std::perror(argv[1]);
        return 1;
    }
    return 0;
}
