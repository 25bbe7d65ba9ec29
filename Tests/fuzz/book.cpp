// Polyglot books: the first byte chooses a position, the rest is the book. Whatever it holds, a probe gives a legal
// move or none.
#include "fuzz/fuzz.h"

#include "book/book_probe.h"
#include "frontend/base/settings.h"

namespace {

constexpr const char* POSITIONS[] = {
    START_FEN,
    "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3",
    "r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R w KQkq -",
    "r3k2r/8/8/8/8/8/8/R3K2R b KQkq -",
    "4k3/2P5/8/3pP3/8/8/8/4K3 w - d6",
    "1r2k1r1/8/8/8/8/8/8/1R2K1R1 w GBgb -",
    "7k/5Q2/6K1/8/8/8/8/8 b - -",
};

}  // namespace

FUZZ_TARGET(book) {
    if (input.empty()) return;
    static Board board;
    set_position(board.position, POSITIONS[static_cast<unsigned char>(input[0]) % std::size(POSITIONS)]);
    const std::string name = fuzz_folder().write("book.bin", std::string(input.substr(1)));
    settings = Settings{};
    for (const bool uci : {true, false}) {
        for (const int variety : {0, 25, 100}) {
            settings.uci_mode = uci;
            settings.book_variety = static_cast<std::uint8_t>(variety);
            const Move move = book_probe(board.position, name.c_str());
            FUZZ_CHECK(move == NULL_MOVE || is_legal_here(board.position, move), board.fen());
            check_consistency(board.position);
        }
    }
}
