/*
 * Times the stores on the same work and prints a table:
 * vorn_compare SECONDS FIGURES TMPFS_DIRECTORY DISK_DIRECTORY LIBVORN.SO [BEFORE.SO]
 * SECONDS are spent on each workload in each directory, three times as many where
 * it flushes to a disk. FIGURES is a file for the medians, a line for each row.
 *
 * A round is a few calls of each store, one store after the other. A ratio is the
 * median of the ratios of all rounds: what was measured side by side stays the
 * same when the machine has other work to do.
 */
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <unistd.h>

#include "store.h"

namespace fs = std::filesystem;
using samples = std::vector<double>;   // seconds per call, one for each round

struct place {
    std::string name;
    std::string directory;
    bool is_disk;
};

struct row {
    const workload *what;
    const place *where;
    std::map<const store *, samples> times;
};

// These share one space and are timed in every round. Of the others a rough figure
// will do: they are timed in every fourth.
static std::vector<const store *> of_one_kind = {&least_work, &library};
static const std::vector<const store *> others = {
    &plain_file,
#ifdef HAVE_SQLCIPHER
    &sqlcipher_delete,
    &sqlcipher_wal,
#endif
};
constexpr double ROUND_SECONDS = 0.0004;   // short: then most rounds are not interrupted
constexpr uint32_t FILES_IN_A_FOLDER = 1500;

static double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

static bool is_fresh(const workload &w)
{
    return w.space == 0;
}

// A large space shows how the library's share grows. That of the others is not
// worth the time.
static std::vector<const store *> members_of(const workload &w, size_t round)
{
    std::vector<const store *> members = of_one_kind;
    if (round % 4 == 0 && w.space <= 16 * MIB)
        members.insert(members.end(), others.begin(), others.end());
    return members;
}

// One store's part of a round: the seconds of one call, or less than 0. The turns
// go on from round to round, so that no store meets the blocks that another has
// just touched.
static double time_calls(const store &s, const workload &w, uint32_t calls)
{
    static uint32_t turns;
    if (is_fresh(w))
        turns = 0;
    bool fine = w.what != action::APPEND || s.create(w.block_size);
    const double start = now();
    for (uint32_t i = 0; fine && i < calls; ++i)
        fine = perform(s, w, turns++);
    const double seconds = (now() - start) / calls;
    if (w.what == action::APPEND)
        fine = s.remove() && fine;
    return fine ? seconds : -1;
}

static uint32_t calls_in_a_round(const workload &w)
{
    const double seconds = time_calls(least_work, w, 2);
    return seconds < 0 ? 0 : static_cast<uint32_t>(std::clamp(ROUND_SECONDS / seconds, 2.0, 20.0));
}

// The order changes, because what one store has left to the disk's journal is
// written on the time of the next: each comes first, last and after each other.
static bool measure_round(row *r, uint32_t calls)
{
    const size_t round = r->times[&library].size();
    std::vector<const store *> members = members_of(*r->what, round);
    std::rotate(members.begin(), members.begin() + static_cast<long>(round / 2 % members.size()), members.end());
    if (round % 2 == 1)
        std::reverse(members.begin(), members.end());
    for (const store *s : members) {
        const double taken = calls == 0 ? -1 : time_calls(*s, *r->what, calls);
        if (taken < 0) {
            fprintf(stderr, "%s: %s fails in %s\n", r->what->name, s->name, r->where->directory.c_str());
            return false;
        }
        r->times[s].push_back(taken);
    }
    return true;
}

// What is filled comes to rest, or the first rounds on a disk would meet its
// writing; and it is read once, so that the system knows all names that are looked
// up, as it knows the files.
static bool give_spaces(const std::vector<const store *> &members, const std::string &directory, const workload &w)
{
    std::error_code error;
    fs::create_directories(directory, error);
    for (const store *s : members) {
        const bool shares = std::count(of_one_kind.begin(), of_one_kind.end(), s) != 0 && s != &least_work;
        if (!s->open(directory.c_str()) || (!shares && !is_fresh(w) && !s->fill(w.block_size, w.space)))
            return false;
    }
    sync();
    static unsigned char room[LENGTH_MAX];
    for (uint32_t offset = 0; offset < w.space; offset += LENGTH_MAX) {
        if (!library.read(offset, LENGTH_MAX, room))
            return false;
    }
    return true;
}

// In one folder no more files are replaced than make no difference: ext4 looks for a
// free inode behind all that were freed within the last minute.
static bool measure(row *r, double seconds)
{
    const workload &w = *r->what;
    const bool flushes = r->where->is_disk && w.what != action::READ;
    const uint32_t files_of_call = flushes ? w.length / w.block_size + 1 : 0;
    static int folders;
    std::vector<const store *> members = members_of(w, 0);
    for (double left = flushes ? 3 * seconds : seconds; left > 0;) {
        const std::string directory =
            r->where->directory + "/" + std::to_string(getpid()) + "-" + std::to_string(++folders);
        if (!give_spaces(members, directory, w))
            return false;
        members = of_one_kind;   // the others stay where they are
        const double start = now();
        const uint32_t calls = calls_in_a_round(w);
        uint32_t files = 0;
        do {
            if (!measure_round(r, calls))
                return false;
            files += calls * files_of_call * static_cast<uint32_t>(of_one_kind.size());
        } while (files < FILES_IN_A_FOLDER && now() - start < left);
        left -= now() - start;
        // Block by block: a disk that is told of freed places is told in few words.
        if (!is_fresh(w))
            least_work.remove();
    }
    for (const fs::directory_entry &entry : fs::directory_iterator(r->where->directory))
        fs::remove_all(entry);
    return true;
}

static double quantile(samples values, double which)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[static_cast<size_t>(which * static_cast<double>(values.size() - 1) + 0.5)];
}

static std::string microseconds(const samples &seconds)
{
    char text[32];
    snprintf(text, sizeof text, "%.1f", quantile(seconds, 0.5) * 1e6);
    return seconds.empty() ? "" : text;
}

static std::string ratio(const samples &a, const samples &b)
{
    samples ratios;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        ratios.push_back(a[i] / b[i]);
    char text[64];
    snprintf(text, sizeof text, "%.2f (%.2f to %.2f)", quantile(ratios, 0.5), quantile(ratios, 0.25),
             quantile(ratios, 0.75));
    return text;
}

static void print_row(row *r, FILE *figures)
{
    printf("| %s | %s |", r->what->name, r->where->name.c_str());
    fprintf(figures, "%s\t%s", r->where->name.c_str(), r->what->name);
    std::vector<const store *> columns = {&least_work, &library};
    columns.insert(columns.end(), others.begin(), others.end());
    for (const store *s : columns) {
        printf(" %s |", microseconds(r->times[s]).c_str());
        fprintf(figures, "\t%s", microseconds(r->times[s]).c_str());
    }
    printf(" %s |\n", ratio(r->times[&library], r->times[&least_work]).c_str());
    fprintf(figures, "\n");
    fflush(stdout);
}

static bool measure_all(const place &at, double seconds, FILE *figures, std::vector<row> *rows)
{
    for (int i = 0; i < workload_count; ++i) {
        rows->push_back({&workloads[i], &at, {}});
        if (!measure(&rows->back(), seconds))
            return false;
        print_row(&rows->back(), figures);
    }
    return true;
}

static void print_heading()
{
    printf("| operation | where | least work, µs | libvorn, µs |");
    for (const store *s : others)
        printf(" %s, µs |", s->name);
    printf(" libvorn to least work (middle half of the rounds) |\n|---|---|---:|---:|");
    for (size_t i = 0; i < others.size(); ++i)
        printf("---:|");
    printf("---:|\n");
}

static void print_comparison(std::vector<row> *rows)
{
    printf("\n| operation | where | before, µs | now, µs | now to before (middle half of the rounds) |\n"
           "|---|---|---:|---:|---:|\n");
    for (row &r : *rows) {
        printf("| %s | %s | %s | %s | %s |\n", r.what->name, r.where->name.c_str(),
               microseconds(r.times[&library_before]).c_str(), microseconds(r.times[&library]).c_str(),
               ratio(r.times[&library], r.times[&library_before]).c_str());
    }
}

int main(int argc, char **argv)
{
    FILE *figures = argc == 6 || argc == 7 ? fopen(argv[2], "w") : nullptr;
    if (figures == nullptr) {
        fprintf(stderr, "usage: %s SECONDS FIGURES TMPFS_DIRECTORY DISK_DIRECTORY LIBVORN.SO [BEFORE.SO]\n", argv[0]);
        return 2;
    }
    const place places[] = {{"tmpfs", argv[3], false}, {"disk", argv[4], true}};
    if (!load_library(library, argv[5]) || (argc == 7 && !load_library(library_before, argv[6])))
        return 1;
    if (argc == 7)
        of_one_kind.push_back(&library_before);
    print_heading();
    std::vector<row> rows;
    for (const place &at : places) {
        if (!measure_all(at, atof(argv[1]), figures, &rows))
            return 1;
    }
    if (argc == 7)
        print_comparison(&rows);
    return fclose(figures) == 0 ? 0 : 1;
}
