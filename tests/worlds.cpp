#include "worlds.h"

#include <algorithm>
#include <tuple>

#include "gate.h"
#include "vorn.h"

std::string bytes_read;

bool world::operator<(const world &other) const
{
    return std::tie(is, block_size, flags, bytes) < std::tie(other.is, other.block_size, other.flags, other.bytes);
}

bool world::shows(const world &seen) const
{
    return is == RUIN || (is == seen.is && (is != THERE || bytes == seen.bytes));
}

file_map world::files(const std::string &label) const
{
    file_map made;
    if (is == ABSENT)
        return made;
    made["VORN_HDR_" + label] = seal(header_image(block_size, flags, static_cast<uint32_t>(bytes.size())));
    if (is == BROKEN)
        made["VORN_HDR_" + label].pop_back();
    for (size_t at = 0; at < bytes.size(); at += block_size) {
        std::string block = bytes.substr(at, block_size);
        block.resize(block_size);
        made["VORN_DATA_" + label + "_" + std::to_string(at / block_size)] = seal(block);
    }
    return made;
}

world there(size_t size)
{
    return {world::THERE, 512, 0, text(size)};
}

int32_t call::run() const
{
    std::string room = kind == WRITE ? text(second, seed) : std::string(kind == READ ? second : 0, '#');
    const int32_t result = gated([&] {
        return kind == CREATE   ? vorn_create(label.c_str(), first, second)
               : kind == WRITE  ? vorn_write(label.c_str(), first, second, room.data())
               : kind == REMOVE ? vorn_remove(label.c_str())
                                : vorn_read(label.c_str(), first, second, room.data());
    });
    const size_t count = result > 0 ? static_cast<size_t>(result) : 0;
    bytes_read = room.substr(0, kind == READ ? count : 0);
    if (kind == READ && room.find_first_not_of('#', count) != std::string::npos)
        gate_problems += "a read has written behind what it delivers\n";
    return result;
}

int32_t call::result(const world &was) const
{
    const auto size = static_cast<uint32_t>(was.bytes.size());
    if (was.is == world::ABSENT)
        return kind == CREATE ? 0 : -61;
    if (was.is == world::BROKEN)
        return kind == REMOVE ? 0 : -1;
    if (kind == CREATE)
        return (second & 1) != 0 ? 0 : -17;
    if (kind == REMOVE)
        return 0;
    if (first > size || (kind == READ && first == size))
        return -34;
    return static_cast<int32_t>(kind == WRITE ? second : std::min(second, size - first));
}

world call::done(const world &was) const
{
    world now = was;
    if (result(was) < 0 || kind == READ)
        return was;
    if (kind == WRITE)
        now.bytes.replace(first, second, text(second, seed));
    return kind == CREATE ? world{world::THERE, first, second, ""} : kind == REMOVE ? world() : now;
}

worlds call::written(const world &was, uint32_t count) const
{
    world now = was;
    now.bytes.replace(first, count, text(second, seed).substr(0, count));
    world behind = now;
    behind.bytes.resize(was.bytes.size());
    return {now, behind};
}

worlds call::failed(const world &was, int32_t got) const
{
    if (kind == READ)
        return {was};
    if (kind == REMOVE)
        return got == 0 ? worlds{done(was)} : got == -1 ? worlds{was, {world::RUIN}} : worlds{was};
    if (kind == CREATE)
        return got == 0                          ? worlds{done(was)}
               : got != -17 && (second & 1) != 0 ? worlds{was, world(), {world::RUIN}}
                                                 : worlds{was};
    return got >= 0 ? written(was, static_cast<uint32_t>(got)) : got == -12 ? killed(was, false) : worlds{was};
}

worlds call::killed(const world &was, bool whole) const
{
    worlds all = {was, done(was)};
    if (kind == CREATE && was.is == world::THERE && (second & 1) != 0)
        all.insert(world());
    if (kind != WRITE || whole || result(was) < 0)
        return all;
    for (uint32_t at = first; at < first + second; at = (at / was.block_size + 1) * was.block_size)
        all.merge(written(was, at - first));
    all.merge(written(was, second));
    return all;
}

world observe(const std::string &label)
{
    std::string room(1 << 15, '\0');
    const auto read = [&](uint32_t offset) {
        return gated([&] { return vorn_read(label.c_str(), offset, static_cast<uint32_t>(room.size()), room.data()); });
    };
    const int32_t count = read(0);
    if (count < 0)
        return {count == -61 ? world::ABSENT : count == -34 ? world::THERE : world::BROKEN};
    const std::string bytes = room.substr(0, static_cast<size_t>(count));
    return {read(static_cast<uint32_t>(count)) == -34 ? world::THERE : world::RUIN, 0, 0, bytes};
}
