// Prints what the last hand-crafted evaluation left in its scratch record, and the parameter registry.
#include "eval/eval_trace.h"

#include "eval/eval_params.h"
#include "eval/inference.h"
#include "eval/network.h"
#include "frontend/base/output.h"

namespace {

// One row of the breakdown; piece groups show their material apart.
struct GroupRow {
    const char* label;
    EvalGroup group;
    int type;  // NO_PIECE_TYPE for a group without material
};

constexpr GroupRow GROUP_ROWS[] = {
    {"pawns:", GROUP_PAWNS, PAWN},
    {"knights:", GROUP_KNIGHTS, KNIGHT},
    {"bishops:", GROUP_BISHOPS, BISHOP},
    {"rooks:", GROUP_ROOKS, ROOK},
    {"queens:", GROUP_QUEENS, QUEEN},
    {"king:", GROUP_KING, NO_PIECE_TYPE},
    {"ppawns:", GROUP_PASSERS, NO_PIECE_TYPE},
    {"threats:", GROUP_THREATS, NO_PIECE_TYPE},
    {"special:", GROUP_SPECIAL, NO_PIECE_TYPE},
};

constexpr const char* TABLE_NAMES[TABLE_PARAMS] = {"Pawn1",  "Pawn2", "Connected Pawn", "Defended Pawn", "Knight",
                                                   "Bishop", "Rook",  "Queen",          "King"};

PackedScore material_weight(int type) {
    using namespace eval_param;
    const Handle weights[] = {nullptr, mtl_pawn, mtl_knight, mtl_bishop, mtl_rook, mtl_queen};
    return static_cast<PackedScore>(weights[type]->packed);
}

// Material of one type in centipawns, side `c` minus the other.
int material_difference(const Position& position, int type, int c, float phase) {
    return (count_of(position, c, type) - count_of(position, c ^ 1, type)) * taper(material_weight(type), phase);
}

// White's and Black's terms without material, then the difference in material, White minus Black.
void print_group(const Position& position, const EvalScratch& scratch, const GroupRow& row) {
    const bool has_material = row.type != NO_PIECE_TYPE;
    int terms[2] = {};
    for (const int c : {WHITE, BLACK}) {
        PackedScore score = scratch.group[row.group][c];
        if (has_material) score -= count_of(position, c, row.type) * material_weight(row.type);
        terms[c] = taper(score, scratch.phase);
    }
    const int difference = has_material ? material_difference(position, row.type, WHITE, scratch.phase) : 0;
    print_raw("%-10s  %4d   %4d    %4d\n", row.label, terms[WHITE], terms[BLACK], difference);
}

void print_squares(const char* title, Bitboard squares) {
    if (!squares) return;
    print_raw("%s", title);
    while (squares) print_raw(" %s", square_names[pop_lsb(squares)]);
    print_raw("\n");
}

// Material of all types, in centipawns for the side to move.
int material_balance(const Position& position, float phase) {
    int balance = 0;
    for (int type = PAWN; type <= QUEEN; ++type) balance += material_difference(position, type, position.side, phase);
    return balance;
}

// One rank of a table: eight values of the middle game, then of the end game.
void print_rank(const EvalParams* table, int rank) {
    const EvalParams* pairs = table + make_square(0, rank);
    for (int file = 0; file < 8; ++file) print_raw(" %3d", middle_game(pairs[file].packed));
    print_raw("     ");
    for (int file = 0; file < 8; ++file) print_raw(" %3d", end_game(pairs[file].packed));
    print_raw("\n");
}

void print_parameters() {
    for (int i = 0; i < SCALAR_PARAMS; ++i) {
        const EvalParams& param = eval_params[i];
        print_raw("%-22s  %4d , %4d\n", param.name, middle_game(param.packed), end_game(param.packed));
    }
    for (int table = 0; table < TABLE_PARAMS; ++table) {
        print_raw("%s\n", TABLE_NAMES[table]);
        for (int rank = 7; rank >= 0; --rank) print_rank(&eval_params[first_table_param + table * 64], rank);
        print_raw("\n");
    }
}

}  // namespace

void eval_trace(EvalState& state, Position& position, int qscore, int detail) {
    // Ply 0, so that both are computed afresh: no accumulator and no pawn hash is used.
    const int network_score = network.complete ? nn_evaluate(state.network, position, 0) : 0;
    const int hce_score = hce_evaluate(state.hce, position, 0);
    const EvalScratch& scratch = state.hce.scratch;

    print_raw("           white  black      md\n");
    for (const GroupRow& row : GROUP_ROWS) print_group(position, scratch, row);
    print_squares("hung pieces on: ", scratch.hung);
    print_squares("free pawns on: ", scratch.free_passers);
    print_raw("nne= %d, hce= %d, qscore= %d, mtl= %d, phase= %0.2f, sf= %0.2f, rule50= %d\n\n", network_score,
              hce_score, qscore, material_balance(position, scratch.phase), static_cast<double>(scratch.phase),
              static_cast<double>(scratch.scale), position.rule50);
    if (detail == 2) print_parameters();
}
