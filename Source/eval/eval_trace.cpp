// Prints what the last hand-crafted evaluation left in its scratch record, and the parameter registry.
#include "eval/eval_trace.h"

#include "eval/eval_params.h"
#include "eval/inference.h"
#include "eval/network.h"
#include "frontend/output.h"

#include <cstring>

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

void print_group(const Position& position, const EvalScratch& scratch, const GroupRow& row) {
    int terms[2] = {};
    int material_difference = 0;
    for (const int c : {WHITE, BLACK}) {
        PackedScore score = scratch.group[row.group][c];
        if (row.type != NO_PIECE_TYPE) score -= count_of(position, c, row.type) * material_weight(row.type);
        terms[c] = taper(score, scratch.phase);
    }
    if (row.type != NO_PIECE_TYPE) {
        material_difference = (count_of(position, WHITE, row.type) - count_of(position, BLACK, row.type)) *
                              taper(material_weight(row.type), scratch.phase);
    }
    print_raw("%-10s  %4d   %4d    %4d\n", row.label, terms[WHITE], terms[BLACK], material_difference);
}

void print_squares(const char* title, Bitboard squares) {
    if (!squares) return;
    print_raw("%s", title);
    while (squares) print_raw(" %s", square_names[pop_lsb(squares)]);
    print_raw("\n");
}

// Tapered material for the side to move.
int material_balance(const Position& position, float phase) {
    int balance = 0;
    for (int type = PAWN; type <= QUEEN; ++type) {
        const int difference = count_of(position, position.side, type) - count_of(position, position.side ^ 1, type);
        balance += difference * taper(material_weight(type), phase);
    }
    return balance;
}

void print_rank(const EvalParams* pairs, int rank) {
    for (int file = 0; file < 8; ++file) print_raw(" %3d", middle_game(pairs[make_square(file, rank)].packed));
    print_raw("     ");
    for (int file = 0; file < 8; ++file) print_raw(" %3d", end_game(pairs[make_square(file, rank)].packed));
    print_raw("\n");
}

void print_parameters() {
    for (int i = 0; i < eval_param_count; ++i) {
        const EvalParams& param = eval_params[i];
        if (std::strstr(param.name, "PST_") || std::strstr(param.name, "ttune")) continue;
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
    // At the root, so that nothing comes from a cache.
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
