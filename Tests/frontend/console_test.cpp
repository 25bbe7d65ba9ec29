// The console language: games, replay, settings and reports.
#include "engine_fixture.h"

#include "frontend/console.h"
#include "search/parallel.h"

class Console : public Engine {
protected:
    void SetUp() override {
        Engine::SetUp();
        settings.uci_mode = 0;
        run("new");
    }
    static std::string run(const char* line) {
        return printed([&] { console_command(line); });
    }
    static std::string first_line(const char* line) {
        const std::string text = run(line);
        return text.substr(0, text.find('\n'));
    }
};

TEST_F(Console, moves_are_played_taken_back_and_replayed) {
    EXPECT_EQ(run("undo"), "") << "nothing to take back";
    EXPECT_EQ(run("]"), "") << "nothing to replay";
    EXPECT_EQ(first_line("e2e4"), "1. move e2e4");
    EXPECT_EQ(first_line("move e5"), "1. move e5");
    EXPECT_EQ(first_line("Bc4+!"), "2. move Bc4") << "what was typed, cut at the check sign";
    const std::string three_moves = fen();
    run("undo");
    run("[");
    EXPECT_EQ(fen(), "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3");
    EXPECT_EQ(first_line("]"), "1... move e7e5");
    EXPECT_EQ(first_line("]"), "2. move f1c4");
    EXPECT_EQ(fen(), three_moves);

    EXPECT_EQ(run("e2e4"), "invalid: a1a1\n");
    EXPECT_EQ(run("nonsense"), "invalid: a1a1\n");
    EXPECT_EQ(run("move"), "invalid: a1a1\n");
    EXPECT_EQ(fen(), three_moves);

    run("jump 2");
    EXPECT_EQ(fen(), "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6");
    run("jump 9");
    EXPECT_EQ(fen(), three_moves);
    run("jump x");
    EXPECT_EQ(fen(), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -");

    run("jump 9");
    run("undo");
    run("undo");
    run("d5");
    EXPECT_EQ(run("]"), "") << "a new move ends the old line";
}

TEST_F(Console, a_full_game_refuses_further_moves) {
    for (int i = 0; i < MAX_GAME_MOVES / 4; ++i) {
        for (const char* move : {"Nf3", "Nf6", "Ng1", "Ng8"}) run(move);
    }
    const std::string before = fen();
    EXPECT_EQ(run("e4"), "the game is full: 800 moves\n");
    EXPECT_EQ(fen(), before);
    EXPECT_EQ(game_record->game.game_ply, MAX_GAME_MOVES);
}

TEST_F(Console, positions_and_the_mirror) {
    run("fen r3k3/8/8/8/8/8/P7/R3K2R w KQq - 7 20");
    EXPECT_EQ(fen(), "r3k3/8/8/8/8/8/P7/R3K2R w KQq -");
    run("reverse");
    EXPECT_EQ(fen(), "r3k2r/p7/8/8/8/8/8/R3K3 b - -");
    EXPECT_EQ(game_record->position.rule50, 0);
    run("reverse");
    EXPECT_EQ(fen(), "r3k3/8/8/8/8/8/P7/R3K2R w - -");

    write_file("test.epd",
               "\xEF\xBB\xBF; 8/8/8/8/8/8/8/8 w - - id \"a1\";\n"
               "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id \"a1\";\r\n"
               "4k3/4p3/8/8/8/8/8/4K3 b - - bm e5; id \"a2\";\n");
    EXPECT_EQ(first_line("get a1"), "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id \"a1\";");
    EXPECT_EQ(fen(), "4k3/8/8/8/8/8/4P3/4K3 w - -");
    EXPECT_EQ(first_line("get a"), "") << "the whole id counts";
    EXPECT_EQ(fen(), "4k3/8/8/8/8/8/4P3/4K3 w - -");
    std::filesystem::remove("test.epd");
    EXPECT_EQ(run("get a2"), "");
}

TEST_F(Console, perft_counts_within_its_bounds) {
    EXPECT_EQ(run("perft 3").find("visited 8902 nodes in "), 0u);
    EXPECT_EQ(run("perft 0").find("visited 20 nodes in "), 0u);
    EXPECT_EQ(run("]"), "") << "a counted move is no move taken back";
    for (const char* command : {"e4", "e5", "undo", "undo", "perft 2"}) run(command);
    EXPECT_EQ(first_line("]"), "1. move e2e4");
    EXPECT_EQ(first_line("]"), "1... move e7e5");
    run("fen 8/8/8/8/8/8/8/8 w - -");
    EXPECT_EQ(run("perft 3"), "illegal position\n");
    for (const char* command : {"go 3", "mv", "self", "ev"}) {
        EXPECT_EQ(run(command), "illegal position\n") << command;
        EXPECT_EQ(search_control.think_flags, 0) << command;
    }
}

// e4xd5 leaves king and pawn against king, which counts as drawn: the bare king is 1 step from d8 and the other 7,
// the pawn on rank index 4, so 1 + 4 * 4 - 7 = 10 for White.
TEST_F(Console, the_quiescence_score_shown_is_that_of_the_last_searched_root) {
    constexpr const char* HANGING_QUEEN = "fen 4k3/8/8/3q4/4P3/8/8/4K3 w - -";
    run(HANGING_QUEEN);
    settings.depth_limit = 1;
    settings.noise = SILENT;
    analysis_search();
    search_control.think_flags = 0;
    run("new");
    EXPECT_NE(run("sp").find(", qscore= 10, "), std::string::npos);
    EXPECT_EQ(run("ev").find(", qscore= 10, "), std::string::npos);
    run(HANGING_QUEEN);
    EXPECT_NE(run("ev").find(", qscore= 10, "), std::string::npos);
    run("fen 4k3/8/8/4q3/8/8/8/4K3 w - -");
    EXPECT_NE(run("ev").find(", qscore= 10, "), std::string::npos) << "a root in check has none";
    EXPECT_EQ(settings.depth_limit, 1);
}

TEST_F(Console, swap_lists_what_stands_attacked) {
    // The pawn on d5 is won by the pawn; the queen on h8 is attacked by the undefended rook's file.
    run("fen 4k2q/8/8/3p4/4P3/8/8/4K2R w - -");
    EXPECT_EQ(run("swap"),
              "sq= h1, swap1=  550\n"
              "sq= e4, swap1=  100\n"
              "sq= d5, swap1=  100\n"
              "sq= h8, swap1= 1060\n");
}

TEST_F(Console, thinking_is_requested_with_its_limits) {
    const struct {
        const char* command;
        int depth;
        float seconds;
        bool play, self;
    } cases[] = {
        {"go", 80, 99999, false, false},  {"an 7", 7, 99999, false, false},    {"go x", 0, 99999, false, false},
        {"go 0", 0, 99999, false, false}, {"go 100", 80, 99999, false, false}, {"mv", 80, 5, true, false},
        {"self", 80, 5, false, true},
    };
    for (const auto& c : cases) {
        settings.level_time = 5;
        settings.depth_limit = 80;
        EXPECT_EQ(run(c.command), "") << c.command;
        EXPECT_EQ(search_control.think_flags, THINK_GO) << c.command;
        EXPECT_EQ(settings.depth_limit, c.depth) << c.command;
        EXPECT_EQ(settings.level_time, c.seconds) << c.command;
        EXPECT_EQ(search_control.play_move, c.play) << c.command;
        EXPECT_EQ(search_control.self_play, c.self) << c.command;

        EXPECT_EQ(run("new"), "") << "ignored while thinking";
        EXPECT_EQ(search_control.stop, 0);
        run(".");
        EXPECT_EQ(search_control.stop, 1);
        search_control.think_flags = 0;
        search_control.stop = 0;
        search_control.play_move = search_control.self_play = false;
    }
}

TEST_F(Console, set_changes_and_reports) {
    EXPECT_EQ(run("set level 40 5:00 0"), "set level to 40 moves in 300.00 seconds, inc 0.00\n");
    EXPECT_FLOAT_EQ(search_control.clock[WHITE], 300);
    EXPECT_FLOAT_EQ(search_control.clock[BLACK], 300);
    EXPECT_EQ(run("set level 0 90 1.5"), "set level to 0 moves in 90.00 seconds, inc 1.50\n");
    EXPECT_EQ(run("set level 0 1:30 -2"), "set level to 0 moves in 90.00 seconds, inc 0.00\n");
    EXPECT_EQ(run("set contempt 20"), "contempt set to 20\n");
    EXPECT_EQ(run("set LMR_depth 99999"), "LMR_depth set to 32767\n");
    EXPECT_EQ(run("set my_multipv 4"), "");
    EXPECT_EQ(settings.multipv, 4);
    EXPECT_EQ(run("set depth 200"), "");
    EXPECT_EQ(settings.depth_limit, 80);
    EXPECT_EQ(run("set nodes 1000"), "");
    EXPECT_EQ(settings.node_limit, 1000u);
    EXPECT_EQ(run("set target_nps 62000"), "target_nps set to 62000, Elo= 2999\n");
    EXPECT_EQ(run("set ss 0"), "selectivity set to OFF\n");
    EXPECT_EQ(settings.nmp_depth, 99);
    for (const char* nothing : {"set", "set nothing 3", "set levels 1 2 3"}) EXPECT_EQ(run(nothing), "") << nothing;

    settings.hash_mb = 5;
    settings.log = 0;
    settings.max_elo = 3000;
    EXPECT_EQ(run("set ss 1"), "set default Settings\n");
    EXPECT_EQ(settings.contempt, 0);
    EXPECT_EQ(settings.nmp_depth, 3);
    EXPECT_EQ(settings.node_limit, 0u);
    EXPECT_EQ(settings.limit_strength, 0);
    EXPECT_EQ(settings.uci_mode, 0) << "the state of the run stays";
    EXPECT_EQ(settings.hash_mb, 5);
    EXPECT_EQ(settings.max_elo, 3000);
}

TEST_F(Console, the_stored_line_is_shown_and_taken_back) {
    const auto store = [](Move move) { hash_store(game_record->position, 1, 5, move, 0, 10, -50, 50); };
    hash_clear();
    store(make_move_word(12, 28));  // e2e4
    run("e2e4");
    store(make_move_word(62, 45));  // g8f6
    run("new");
    const std::string before = fen();
    EXPECT_EQ(run("pv").find("PV: e4 Nf6\n\nrnbqkb1r/pppppppp/5n2/8/4P3/8/PPPP1PPP/RNBQKBNR w KQkq"), 0u);
    EXPECT_EQ(fen(), before);
    EXPECT_EQ(game_record->game.game_ply, 0);
    hash_clear();
    EXPECT_EQ(run("pv").find("PV: \n\n"), 0u);
}

TEST_F(Console, save_writes_the_game_as_other_programs_read_it) {
    for (const char* move : {"e4", "e5", "Nf3", "Nc6", "Bb5", "a6", "Ba4", "Nf6", "O-O", "Be7", "Re1", "b5"}) run(move);
    const std::string before = fen();
    run("undo");
    run("save");
    run("]");
    EXPECT_EQ(fen(), before);
    // From another position, and with a twin that is pinned and so needs no file to differ from.
    run("fen 4k3/8/8/8/1b6/2N5/8/4K1N1 w - - 12 40");
    run("Nge2");
    run("save");
    EXPECT_EQ(read_lines("tmp.pgn"),
              (std::vector<std::string>{"[Event \"Unknown\"]", "e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O Be7 Re1 ", "*", "",
                                        "[Event \"Unknown\"]", "[SetUp \"1\"]",
                                        "[FEN \"4k3/8/8/8/1b6/2N5/8/4K1N1 w - - 12 1\"]", "Ne2 *", ""}));
}

TEST_F(Console, saved_games_end_with_how_they_stand) {
    const struct {
        const char* fen;
        const char* move;
        const char* line;
    } cases[] = {
        {"7k/5Q2/5K2/8/8/8/8/8 w - -", "Qg7", "Qg7+ 1-0"},
        {"8/8/8/8/8/5k2/5q2/7K b - -", "Qg2", "Qg2+ 0-1"},
        {"7k/8/5KQ1/8/8/8/8/8 w - -", "Kf7", "Kf7 1/2-1/2"},
        {"6k1/8/8/8/8/4K3/8/R7 w - - 99 80", "Kf3", "Kf3 1/2-1/2"},
        {"6k1/8/8/8/8/4K3/8/R7 w - - 98 80", "Kf3", "Kf3 *"},
        {"8/8/8/8/8/8/8/8 w - -", "", "*"},
    };
    for (const auto& c : cases) {
        std::filesystem::remove("tmp.pgn");
        run((std::string("fen ") + c.fen).c_str());
        if (*c.move) run(c.move);
        run("save");
        EXPECT_EQ(read_lines("tmp.pgn")[3], c.line) << c.fen;
    }
}

TEST_F(Console, load_plays_the_first_game_with_the_tag) {
    write_file("games.pgn",
               "[Event \"one\"]\n[White \"Anna\"]\n\n1. d4 d5 2. c4 {Berta} e6 1/2-1/2\n\n"
               "[FEN \"4k3/8/8/8/8/8/4P3/4K3 w - - 0 1\"]\n[White \"Berta\"]\n\n1. e4 Kd7 2.e5 *\n\n"
               "[White \"Berta\"]\n\n1. a3\n\n"
               "[White \"Carla\"]\n\n1. e4 e5 2. Ke3 Nf6\n\n"
               "[White \"Dora\"]\n[Termination \"abandoned\"]\n\n1. e4 e5\n\n"
               "[White \"Emma\"]\n[FEN \"8/8/8/8/8/8/8/8 w - -\"]\n\n1. e4\n\n"
               "[W \"Fay\"]\n1. e4");
    const std::string anna = "rnbqkbnr/ppp2ppp/4p3/3p4/2PP4/8/PP2PPPP/RNBQKBNR w KQkq -";
    const std::string start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
    const std::string carla = "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6";
    const std::string cannot_parse = "can't parse move 2. Ke3 in game #1  " + carla + "\n";
    const std::string one = "read 1 games\n\n", none = "read 0 games\n\n";
    const struct {
        const char* words;
        std::string printed;  // between the announcement and the board
        std::string fen;
        int plies;
    } cases[] = {
        {"games.pgn Anna", one, anna, 4},
        {"games.pgn Nobody", none, anna, 4},
        {"games.pgn Berta", one, "8/3k4/8/4P3/8/8/8/4K3 b - -", 3},
        {"games.pgn Carla", cannot_parse + one, carla, 2},
        {"games.pgn Dora", one, start, 0},
        {"games.pgn Emma", "can't parse move 1. e4 in game #1  8/8/8/8/8/8/8/8 w - -\n" + one, "8/8/8/8/8/8/8/8 w - -",
         0},
        {"games.pgn Fay", none, "8/8/8/8/8/8/8/8 w - -", 0},
        {"games.pgn An", "", "8/8/8/8/8/8/8/8 w - -", 0},
        {"missing.pgn Anna", "", "8/8/8/8/8/8/8/8 w - -", 0},
        {"games.txt Anna", "", "8/8/8/8/8/8/8/8 w - -", 0},
        {"games.pgn", "", "8/8/8/8/8/8/8/8 w - -", 0},
        {"", "", "8/8/8/8/8/8/8/8 w - -", 0},
    };
    write_file("games.txt", "[White \"Anna\"]\n\n1. e4 e5\n");
    settings.level_time = 77;
    for (const auto& c : cases) {
        search_control.clock[WHITE] = search_control.clock[BLACK] = 1;
        const std::string words = c.words;
        const std::string file = words.substr(0, words.find(' '));
        const std::string tag = words.size() > file.size() ? words.substr(file.size() + 1) : "";
        const std::string board_line = c.fen + " 0 " + std::to_string(c.plies) + "\n";
        const std::string text = run(("load " + words).c_str());
        const std::string announced = "loading " + file + ", tag " + tag + "\n\n";
        EXPECT_EQ(text.substr(0, text.find(board_line)), announced + c.printed) << words;
        EXPECT_EQ(fen(), c.fen) << words;
        EXPECT_EQ(game_record->game.game_ply, c.plies) << words;
        EXPECT_FLOAT_EQ(search_control.clock[WHITE], 77) << words;
        EXPECT_FLOAT_EQ(search_control.clock[BLACK], 77) << words;
        EXPECT_EQ(run("]"), "") << "nothing to replay after " << words;
    }
    run("load games.pgn Anna");
    EXPECT_NE(run("undo").find("rnbqkbnr/ppp1pppp/8/3p4/2PP4/8/PP2PPPP/RNBQKBNR b KQkq c3"), std::string::npos);
    EXPECT_EQ(first_line("]"), "2... move e7e6");
}
