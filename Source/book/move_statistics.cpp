// Linear probing from a mixed hash.
#include "book/move_statistics.h"

#include <algorithm>
#include <new>
#include <tuple>

namespace {

constexpr std::size_t FIRST_CAPACITY = 1 << 16;

// The slot of the entry, or the empty one where it would be.
MoveStatistics& slot_of(const StatisticsTable& table, std::uint64_t key, Move move) {
    std::uint64_t hash = (key ^ move * 0x9E3779B97F4A7C15ULL) * 0xD6E8FEB86659FD93ULL;
    hash ^= hash >> 32;
    for (std::size_t i = hash & (table.capacity - 1);; i = (i + 1) & (table.capacity - 1)) {
        MoveStatistics& slot = table.slots[i];
        if (slot.move == NULL_MOVE || (slot.key == key && slot.move == move)) return slot;
    }
}

bool grow(StatisticsTable& table) {
    StatisticsTable larger;
    larger.capacity = table.capacity ? table.capacity * 2 : FIRST_CAPACITY;
    larger.count = table.count;
    larger.slots.reset(new (std::nothrow) MoveStatistics[larger.capacity]());
    if (!larger.slots) return false;
    for (std::size_t i = 0; i < table.capacity; ++i) {
        const MoveStatistics& entry = table.slots[i];
        if (entry.move != NULL_MOVE) slot_of(larger, entry.key, entry.move) = entry;
    }
    table = std::move(larger);
    return true;
}

}  // namespace

MoveStatistics* find_statistics(StatisticsTable& table, std::uint64_t key, Move move) {
    if (table.count * 8 >= table.capacity * 5 && !grow(table)) return nullptr;
    MoveStatistics& slot = slot_of(table, key, move);
    if (slot.move == NULL_MOVE) {
        slot.key = key;
        slot.move = move;
        ++table.count;
    }
    return &slot;
}

std::span<MoveStatistics> sort_statistics(StatisticsTable& table) {
    const std::span<MoveStatistics> slots(table.slots.get(), table.capacity);
    const auto is_used = [](const MoveStatistics& s) { return s.move != NULL_MOVE; };
    const auto empty = std::partition(slots.begin(), slots.end(), is_used);
    const std::span<MoveStatistics> used = slots.first(static_cast<std::size_t>(empty - slots.begin()));
    std::ranges::sort(used, {}, [](const MoveStatistics& s) { return std::tuple(s.key, s.move); });
    return used;
}
