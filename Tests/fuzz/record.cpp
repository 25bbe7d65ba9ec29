// Training records: a file of them, and each as a position and back.
#include "fuzz/fuzz.h"

#include "search/search_thread.h"
#include "tools/training_data.h"
#include "tools/training_file.h"

#include <cstring>

namespace {

void check_record(const TrainingRecord& record) {
    static Board board, again;
    if (!record_to_position(record, board.position)) return;
    FUZZ_CHECK(board.position.side <= BLACK && board.position.ep_square <= NO_SQUARE, board.fen());
    compute_keys(board.position);
    check_consistency(board.position);
    const TrainingRecord packed = make_training_record(board.position, record.result, record.ce, record.sc);
    FUZZ_CHECK(std::memcmp(packed.board, record.board, sizeof record.board) == 0, board.fen());
    FUZZ_CHECK((packed.side_castling & ~record.side_castling) == 0 && packed.ep_square == record.ep_square,
               board.fen());
    FUZZ_CHECK(record_to_position(packed, again.position), board.fen());
    FUZZ_CHECK(again.fen() == board.fen(), board.fen() + " -> " + again.fen());
    const TrainingRecord repacked = make_training_record(again.position, packed.result, packed.ce, packed.sc);
    FUZZ_CHECK(std::memcmp(&repacked, &packed, sizeof packed) == 0, board.fen());
}

}  // namespace

FUZZ_TARGET(record) {
    static const bool ready = game_record || (game_record = create_search_thread(GAME_RECORD_INDEX));
    FUZZ_CHECK(ready, "memory");
    const std::string name = fuzz_folder().write("records.bin", std::string(input));
    TrainingBuffer buffer;
    FUZZ_CHECK(!read_training_file(name.c_str(), buffer), name);
    FUZZ_CHECK(buffer.count == input.size() / sizeof(TrainingRecord), name);
    for (std::size_t i = 0; i < buffer.count; ++i) check_record(buffer.records[i]);
}
