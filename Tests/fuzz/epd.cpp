// EPD lines: their operations, their way to a training record and back, and the scoring of answers.
#include "fuzz/fuzz.h"

#include "tools/epd.h"
#include "tools/epd_analysis.h"
#include "tools/training_data.h"

namespace {

std::string text_of(const EpdLine& epd) {
    return epd.fen + " bm " + epd.bm + "; am " + epd.am + "; ce " + epd.ce + "; sc " + epd.sc + "; gr " + epd.gr +
           "; id " + epd.id + "; c0 " + epd.c0 + ";";
}

void check_record(const EpdLine& epd) {
    static Board board, again;
    TrainingRecord record;
    if (!epd_to_record(epd, board.position, record)) return;
    FUZZ_CHECK(std::abs(record.sc) <= MAX_RECORD_SCORE && std::abs(record.result) <= MAX_RECORD_SCORE, epd.fen);
    FUZZ_CHECK(record_to_position(record, again.position), epd.fen);
    FUZZ_CHECK(board.fen() == again.fen(), board.fen() + " -> " + again.fen());
}

void check_scores(const EpdLine& epd) {
    static Board board;
    set_position(board.position, epd.fen);
    if (!is_playable(board.position)) return;
    for (const Move move : board.legal()) {
        const AnswerScore score = score_answer(board.position, epd, move);
        FUZZ_CHECK(score.correct >= 0, epd.fen);
    }
    FUZZ_CHECK(score_answer(board.position, epd, NULL_MOVE).points == 0, epd.fen);
}

}  // namespace

FUZZ_TARGET(epd) {
    EpdLine epd, again;
    while (!input.empty()) {
        const std::string_view line = take_part(input);
        parse_epd(line, epd);
        const std::string text = text_of(epd);
        if (std::count(epd.fen.begin(), epd.fen.end(), ' ') == 3) {
            parse_epd(text, again);
            FUZZ_CHECK(text_of(again) == text, text + " -> " + text_of(again));
        }
        check_record(epd);
        check_scores(epd);
    }
}
