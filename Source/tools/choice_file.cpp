// Reading and writing choices.
#include "tools/choice_file.h"

#include <string>

namespace {

// The bytes of a plain object.
template <class T>
std::string_view bytes_of(const T* objects, std::size_t count) {
    return {reinterpret_cast<const char*>(objects), count * sizeof(T)};
}

}  // namespace

bool put_choice(OutputFile& output, const Choice& choice) {
    const auto count = static_cast<std::uint16_t>(choice.moves.size());
    std::string item(bytes_of(&choice.position, 1));
    item += bytes_of(&count, 1);
    item += bytes_of(choice.moves.data(), choice.moves.size());
    return put(output, item);
}

bool read_choice(std::FILE* file, Choice& choice) {
    std::uint16_t count = 0;
    if (std::fread(&choice.position, sizeof choice.position, 1, file) != 1) return false;
    if (std::fread(&count, sizeof count, 1, file) != 1 || count == 0 || count > MAX_MOVES) return false;
    choice.moves.resize(count);
    return std::fread(choice.moves.data(), sizeof(ScoredMove), count, file) == count;
}
