// Syzygy endgame tablebases: discovery, and the answers that the search asks for.
#pragma once

#include "frontend/base/settings.h"
#include "position/position.h"
#include "syzygy/tbchess.h"

// Largest number of pieces, kings included, of any table found; 0 when there are none. Written by tb_init.
extern int tb_largest;

// Scans the directories of settings.syzygy_path and reports what was found. Main thread, while no search runs.
void tb_init();

// How a probe went. A probe that fails returns 0.
enum ProbeSuccess : int {
    PROBE_OTHER_SIDE = -1,  // probe_table only: the table holds the other side to move
    PROBE_FAILED = 0,
    PROBE_FROM_TABLE = 1,
    PROBE_FROM_CAPTURE = 2,  // the best move is a capture, whose value was found by search
};

// Win, draw or loss of the side to move: -2 loss, -1 loss saved by the fifty-move rule, 0 draw, 1 win spoiled by
// it, 2 win. Captures and en passant are resolved.
int probe_wdl(const ProbePosition& position, int& success);

// Plies to the next capture or pawn move with best play, positive for a win, negative for a loss, 0 for a draw;
// 100 more beyond the reach of the fifty-move rule.
int probe_dtz(const ProbePosition& position, int& success);

// The value that one kind of table stores for the position: WDL -2..2, or DTZ in plies given its `wdl`. Sets
// `success` only when there is no answer.
int probe_table(const ProbePosition& position, int wdl, int& success, bool dtz);

// probe_wdl for the search, after the tests below.
int tb_probe_position(const Position& position);

// Result 0 loss, 1 loss saved by the fifty-move rule, 2 draw, 3 win spoiled by it, 4 win, from the side to
// move's view; -1 for no answer. `depth` is the remaining depth (256: no limit). Any thread.
inline int tb_probe_search(const Position& position, int depth) {
    if (tb_largest == 0 || position.castling != 0) return -1;
    const int pieces = popcount(occupancy(position));
    if (pieces > tb_largest || (pieces >= 6 && depth < settings.syzygy_probe_depth) ||
        (pieces == 7 && depth < settings.syzygy_probe_depth7)) {
        return -1;
    }
    return tb_probe_position(position);
}

// Chooses a root move by distance to zeroing; among winning moves those come first after which neither the move nor a
// reply draws by the game's history. On success true, with the move and its result 0..4. False with castling
// rights, too many pieces, or when any probe fails. Plays moves on the position and takes them back.
bool tb_probe_root_dtz(Position& position, Move& move, int& result);
