// Scoring all moves of a position, and playing on by these scores.
#include "tools/selfplay/choices.h"

#include "frontend/game_stack.h"
#include "frontend/settings.h"
#include "platform/file_reports.h"
#include "platform/interrupts.h"
#include "position/make_move.h"
#include "search/hash_table.h"
#include "search/search_thread.h"
#include "tools/choice_file.h"
#include "tools/progress.h"
#include "tools/selfplay/judged_search.h"
#include "tools/selfplay/options.h"
#include "tools/selfplay/referee.h"
#include "tools/selfplay/start.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int MAX_EMPTY_GAMES = 100;   // one after the other, from starts that leave nothing to choose
constexpr int MAX_CHOICE_PLIES = 240;  // longer games repeat what they have shown
constexpr std::uint64_t PROGRESS_STEP = 64;

// Centipawns.
constexpr int MATE_CHOICE = 1500;  // what a mate counts, and the largest score
constexpr int DECIDED = 1000;      // beyond this a choice is none any more
constexpr int CLOSE = 120;         // moves so near to the best are searched again
constexpr int SURELY_WORSE = 40;   // the others are at least so much below the best
constexpr double PLAY_TEMPERATURE = 15;

// The first look at a move gets a tenth of the nodes of the second.
constexpr std::uint64_t FIRST_LOOK = 10;
constexpr std::size_t MOST_CLOSE = 10;

// Score of the move just made on the game record, for the side that made it; `nodes` limits the search.
int score_of_move_made(std::uint64_t nodes) {
    Position& position = game_record->position;
    if (legal_moves(position).empty()) {
        return is_attacked(position, position.king_square[position.side], position.side ^ 1) ? MATE_CHOICE : 0;
    }
    if (judge_position(position, 0, 0)) return 0;
    Statistics uncounted;
    settings.node_limit = nodes;
    return std::clamp(-search_position(uncounted).score, -MATE_CHOICE, MATE_CHOICE);
}

int score_move(Move move, std::uint64_t nodes) {
    make_game_move(move);
    const int score = score_of_move_made(nodes);
    unmake_game_move();
    return score;
}

// Scores all moves of the game record's position, best first. The first `close` of them have been searched with all
// nodes. There must be a legal move.
void score_moves(std::uint64_t nodes, std::vector<ScoredMove>& moves, std::size_t& close) {
    const auto better = [](const ScoredMove& a, const ScoredMove& b) { return a.score > b.score; };
    hash_clear();
    moves.clear();
    for (const Move move : legal_moves(game_record->position)) {
        const int score = score_move(move, std::max<std::uint64_t>(1, nodes / FIRST_LOOK));
        moves.push_back({move, static_cast<std::int16_t>(score)});
    }
    std::stable_sort(moves.begin(), moves.end(), better);
    const int least = moves.front().score - CLOSE;
    for (close = 0; close < std::min(moves.size(), MOST_CLOSE) && moves[close].score >= least; ++close) {
        moves[close].score = static_cast<std::int16_t>(score_move(moves[close].move, nodes));
    }
    const auto rest = moves.begin() + static_cast<std::ptrdiff_t>(close);
    std::stable_sort(moves.begin(), rest, better);
    const int most = moves.front().score - SURELY_WORSE;
    std::for_each(rest, moves.end(),
                  [most](ScoredMove& m) { m.score = static_cast<std::int16_t>(std::min<int>(m.score, most)); });
}

// One of the close moves, the better the likelier.
Move move_to_play(const std::vector<ScoredMove>& moves, std::size_t close, Random& random) {
    const auto weight = [&](std::size_t i) {
        return std::exp((moves[i].score - moves.front().score) / PLAY_TEMPERATURE);
    };
    constexpr int STEPS = 1'000'000;
    double sum = 0;
    for (std::size_t i = 0; i < close; ++i) sum += weight(i);
    double left = sum * random_below(random, STEPS) / STEPS;
    for (std::size_t i = 0; i + 1 < close; ++i) {
        left -= weight(i);
        if (left < 0) return moves[i].move;
    }
    return moves[close - 1].move;
}

struct ChoiceCounts {
    std::uint64_t games = 0;
    std::uint64_t positions = 0;
    std::uint64_t moves = 0;
};

// Plays one game and writes its choices. False when the output cannot be written.
bool play_choices(const SelfplayOptions& options, Random& random, OutputFile& output, Progress& progress,
                  ChoiceCounts& counts) {
    Position& position = game_record->position;
    Choice choice;
    for (int ply = 0; ply < MAX_CHOICE_PLIES && counts.positions < options.count && !interrupted(); ++ply) {
        std::size_t close = 0;
        if (judge_position(position, ply, 0)) break;
        score_moves(options.nodes, choice.moves, close);
        const int best = choice.moves.front().score;
        if (std::abs(best) > DECIDED) break;
        if (choice.moves.size() > 1) {
            choice.position = make_training_record(position, 0, 0, best);
            if (!put_choice(output, choice)) return false;
            counts.moves += choice.moves.size();
            if (++counts.positions % PROGRESS_STEP == 0) show_progress(progress, counts.positions);
        }
        make_game_move(move_to_play(choice.moves, close, random));
    }
    ++counts.games;
    return true;
}

}  // namespace

bool write_choices(const SelfplayOptions& options) {
    OpeningBook book;
    OutputFile output;
    if (!has_extension(options.choices_output, ".bin") || !load_openings(options.openings, book)) return false;
    catch_interrupts();
    if (!create_output(output, options.choices_output)) return false;
    Progress progress{"positions written"};
    ChoiceCounts counts;
    bool good = true;
    int empty_games = 0;
    for (std::uint64_t game = 0; good && counts.positions < options.count && !interrupted(); ++game) {
        const std::uint64_t before = counts.positions;
        Random random = random_stream(options.seed, 0, game);
        Start start;
        if (set_up_start(book, options, random, start)) good = play_choices(options, random, output, progress, counts);
        empty_games = counts.positions > before ? 0 : empty_games + 1;
        if (empty_games < MAX_EMPTY_GAMES) continue;
        std::fprintf(stderr, "no start found that leaves a choice\n");
        good = false;
    }
    end_progress(progress);
    good &= close_output(output);
    using Number = unsigned long long;
    std::printf("%llu games, %llu positions with %llu moves\n", Number{counts.games}, Number{counts.positions},
                Number{counts.moves});
    return good;
}
