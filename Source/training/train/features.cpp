// Reads records without setting up a position: a training run decodes every record once an epoch.
#include "training/train/features.h"

#include <algorithm>

namespace {

constexpr int OTHER_COLOUR = 384;                               // offset of the inputs of the other side's pieces
constexpr int TYPE_OFFSET[7] = {0, 64, 128, 192, 256, 320, 0};  // by PAWN ... KING
constexpr int POINTS[7] = {0, 0, 3, 3, 5, 10, 0};               // what counts for the output row
constexpr int MAX_SIDE = 16;

// What a perspective does to a square, and its first row.
struct View {
    int mirror;
    int first_row;
};

// A board upside down for Black, and left to right for a king on files a-d; the second bucket for a king beyond its
// first three ranks.
View view_of(int colour, int king) {
    const int flip = colour == WHITE ? 0 : 56;
    return {flip ^ (file_of(king) < 4 ? 7 : 0), (king ^ flip) > 23 ? BUCKET_INPUTS : 0};
}

int output_row_of(const int points[2]) {
    const int most = std::max(points[WHITE], points[BLACK]);
    return most > 20 ? 0 : most > 15 ? 1 : most > 10 ? 2 : most > 5 ? 3 : 4;
}

}  // namespace

bool read_features(const TrainingRecord& record, Features& features) {
    std::uint8_t square[MAX_PIECES];
    std::uint8_t code[MAX_PIECES];
    int pieces = 0;
    int king[2] = {NO_SQUARE, NO_SQUARE};
    int of_side[2] = {0, 0};
    int points[2] = {0, 0};
    for (int s = A1; s <= H8; ++s) {
        const int piece = (record.board[s >> 1] >> ((s & 1) * 4)) & 15;
        if (piece == 0) continue;
        const int type = type_of(piece);
        const int colour = colour_of(piece);
        if (type < PAWN || type > KING || of_side[colour] == MAX_SIDE) return false;
        if (type == PAWN && (s < 8 || s >= 56)) return false;
        if (type == KING) {
            if (king[colour] != NO_SQUARE) return false;
            king[colour] = s;
        }
        ++of_side[colour];
        points[colour] += POINTS[type];
        square[pieces] = static_cast<std::uint8_t>(s);
        code[pieces++] = static_cast<std::uint8_t>(piece);
    }
    const int side = record.side_castling >> 4;
    if (side > BLACK || king[WHITE] == NO_SQUARE || king[BLACK] == NO_SQUARE) return false;

    for (int half = 0; half < 2; ++half) {
        const int colour = half ^ side;
        const View view = view_of(colour, king[colour]);
        for (int i = 0; i < pieces; ++i) {
            const int own = colour_of(code[i]) == colour ? 0 : OTHER_COLOUR;
            features.row[half][i] = static_cast<std::uint16_t>(view.first_row + own + TYPE_OFFSET[type_of(code[i])] +
                                                               (square[i] ^ view.mirror));
        }
    }
    features.pieces = static_cast<std::uint8_t>(pieces);
    features.output_row = static_cast<std::uint8_t>(output_row_of(points));
    return true;
}
