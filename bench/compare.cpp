/*
 * Times the stores on the same work and prints the ratios:
 * vorn_compare SECONDS tmpfs=DIRECTORY disk=DIRECTORY
 * SECONDS are spent on each workload in each directory.
 *
 * A round is a few calls of each store, one store after the other; a row tells
 * the medians of all rounds. Ratios of what was measured side by side stay the
 * same when the machine has other work to do.
 */
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "store.h"

namespace fs = std::filesystem;
using samples = std::vector<double>;   // seconds per call, one for each round

static const store *const stores[] = {
    &library,
    &plain_floor,
#ifdef HAVE_SQLCIPHER
    &sqlcipher_delete,
    &sqlcipher_wal,
#endif
};

struct place {
    std::string name;
    std::string directory;
    bool is_disk;
};

// Collects what Google Benchmark has measured.
class collector : public benchmark::BenchmarkReporter {
public:
    std::map<std::string, samples> times;   // by store
    bool failed = false;

    bool ReportContext(const Context &) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            failed = failed || run.error_occurred;
            times[run.run_name.function_name].push_back(run.real_accumulated_time /
                                                        static_cast<double>(run.iterations));
        }
    }
};

static bool is_fresh(const workload &w)
{
    return w.space == 0;
}

// One store's part of a round. The turns go on from round to round, so that no
// store meets the blocks that another has just touched.
static void run_calls(benchmark::State &state, const store &s, const workload &w)
{
    static uint32_t turns;
    if (is_fresh(w))
        turns = 0;
    bool fine = w.what != action::APPEND || s.create(w.block_size);
    for (auto _ : state) {
        if (!fine)
            break;
        fine = perform(s, w, w.space, turns++);
    }
    if (w.what == action::APPEND)
        fine = s.remove() && fine;
    if (!fine)
        state.SkipWithError(w.name);
}

static double seconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

static bool give_empty_directory(const std::string &directory)
{
    std::error_code error;
    fs::remove_all(directory, error);
    return fs::create_directories(directory, error);
}

static std::string content_of(const fs::path &path)
{
    std::string content;
    if (FILE *file = fopen(path.c_str(), "rb")) {
        content.resize(fs::file_size(path));
        content.resize(fread(content.data(), 1, content.size(), file));
        fclose(file);
    }
    return content;
}

static std::map<std::string, std::string> files_of(const std::string &directory)
{
    std::map<std::string, std::string> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(directory))
        files[entry.path().filename()] = content_of(entry.path());
    return files;
}

// The floor is a yardstick only if it leaves the library's files.
static bool leave_same_files(const place &at, const workload &w)
{
    const uint32_t space = std::min(w.space, std::max(16 * w.block_size, w.length));
    std::map<std::string, std::string> left[2];
    for (int i = 0; i < 2; ++i) {
        const store &s = *stores[i];
        const std::string directory = at.directory + "/" + s.name;
        bool fine = give_empty_directory(directory) && s.open(directory.c_str());
        if (w.what != action::CREATE_REMOVE) {
            fine = fine && s.create(w.block_size);
            fine = fine && (space == 0 || s.write(0, space, sample_bytes()));
        }
        for (uint32_t turn = 0; fine && turn < 5; ++turn)
            fine = perform(s, w, space, turn);
        if (!fine) {
            fprintf(stderr, "%s: the %s fails in %s\n", w.name, s.name, directory.c_str());
            return false;
        }
        left[i] = files_of(directory);
        fs::remove_all(directory);
    }
    if (left[0] != left[1] || left[0].empty() != (w.what == action::CREATE_REMOVE)) {
        fprintf(stderr, "%s: the floor's files in %s are not the library's\n", w.name, at.directory.c_str());
        return false;
    }
    return true;
}

static bool share_spaces(const workload &a, const workload &b)
{
    return a.space == b.space && a.block_size == b.block_size;
}

// A large space tells how the library's share grows. SQLCipher's part in that is
// not worth the time.
static size_t members_of(const workload &w)
{
    return w.space > 16 * MIB ? 2 : sizeof stores / sizeof *stores;
}

// Library and floor share a space. Where something is filled it comes to rest,
// or the first rounds on a disk would meet its writing; and it is read once, so
// that the system knows all names that are looked up, as it knows the files.
static bool give_spaces(const place &at, const workload &w)
{
    const std::string directory = at.directory + "/spaces";
    if (!give_empty_directory(directory))
        return false;
    for (size_t i = 0; i < members_of(w); ++i) {
        const store *s = stores[i];
        if (!s->open(directory.c_str()))
            return false;
        if (s != &library && !is_fresh(w) && !s->fill(w.block_size, w.space))
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

static double quantile(samples values, double which)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(which * static_cast<double>(values.size() - 1) + 0.5)];
}

static double median(const samples &values)
{
    return quantile(values, 0.5);
}

// The library shall be ahead of SQLCipher in every read outside of SQLCipher's
// page cache, which is of 2 MB, in every write on tmpfs, and on a disk in those
// that the default journal mode commits.
static double print_row(const place &at, const workload &w, collector *measured)
{
    const samples &own = measured->times[library.name];
    const samples &floor = measured->times[plain_floor.name];
    samples ratios;
    for (size_t i = 0; i < own.size(); ++i)
        ratios.push_back(own[i] / floor[i]);
    const double ratio = median(own) / median(floor);
    printf("| %s | %s | %.1f µs | %.1f µs | %.2f (%.2f to %.2f) |", w.name, at.name.c_str(), median(floor) * 1e6,
           median(own) * 1e6, ratio, quantile(ratios, 0.25), quantile(ratios, 0.75));
    const double aim = at.is_disk ? w.disk_aim : w.tmpfs_aim;
    if (aim != 0)
        printf(" %.2f%s |", aim, ratio < aim + 0.005 ? "" : ", missed");
    else
        printf(" |");
    for (const bool wal : {false, true}) {
        const samples &theirs = measured->times[wal ? "sqlcipher-wal" : "sqlcipher-delete"];
        if (theirs.empty()) {
            printf(" |");
            continue;
        }
        const bool aimed_at = w.what == action::READ ? w.space > 2 * MIB : !at.is_disk || !wal;
        const double other = median(theirs) / median(own);
        printf(" %.2f%s |", other, aimed_at && other < 0.995 ? ", missed" : "");
    }
    printf("\n");
    fflush(stdout);
    return ratio;
}

// SQLCipher takes part in every fourth round only: there, a rough figure will
// do. The order changes, because what one store has left to the disk's journal
// is written on the time of the next.
static bool measure(const place &at, const workload &w, double seconds, collector *measured)
{
    const auto start = std::chrono::steady_clock::now();
    for (size_t round = 0; round < 8 || seconds_since(start) < seconds; ++round) {
        const size_t members = round % 4 == 0 ? members_of(w) : 2;
        for (size_t i = 0; i < members; ++i) {
            const store &s = *stores[round % 2 == 0 ? i : members - 1 - i];
            benchmark::ClearRegisteredBenchmarks();
            benchmark::RegisterBenchmark(s.name, run_calls, s, w)
                ->Iterations(at.is_disk ? w.disk_calls : w.tmpfs_calls)
                ->UseRealTime();
            benchmark::RunSpecifiedBenchmarks(measured, "all");
            if (measured->failed) {
                fprintf(stderr, "%s: the %s fails in %s\n", w.name, s.name, at.directory.c_str());
                return false;
            }
        }
    }
    return true;
}

static bool measure_all(const place &at, double seconds)
{
    std::map<std::string, double> ratios;
    for (int i = 0; i < workload_count; ++i) {
        const workload &w = workloads[i];
        if ((i == 0 || !share_spaces(w, workloads[i - 1])) && !give_spaces(at, w))
            return false;
        // A flush takes its time, and not always the same.
        const bool flushes = at.is_disk && w.what != action::READ;
        collector measured;
        if (!measure(at, w, flushes ? 3 * seconds : seconds, &measured))
            return false;
        ratios[w.name] = print_row(at, w, &measured);
        // Block by block: a disk that is told of freed places is told in few words.
        if ((i + 1 == workload_count || !share_spaces(w, workloads[i + 1])) && !is_fresh(w))
            plain_floor.remove();
    }
    for (const std::string what : {"4096 read", "4096 overwrite"}) {
        const double growth = ratios[what + ", 256 MiB"] / ratios[what + ", 1 MiB"];
        printf("| %s: ratio at 256 MiB to ratio at 1 MiB | %s | | | %.2f | 1.05%s | | |\n", what.c_str(),
               at.name.c_str(), growth, growth < 1.055 ? "" : ", missed");
    }
    return true;
}

static bool parse_place(const char *argument, place *at)
{
    const char *equals = strchr(argument, '=');
    if (equals == nullptr)
        return false;
    at->name = std::string(argument, equals);
    at->directory = equals + 1;
    at->is_disk = at->name == "disk";
    return at->is_disk || at->name == "tmpfs";
}

int main(int argc, char **argv)
{
    const double seconds = argc > 2 ? atof(argv[1]) : 0;
    std::vector<place> places(argc > 2 ? static_cast<size_t>(argc - 2) : 0);
    bool fine = seconds > 0;
    for (size_t i = 0; i < places.size(); ++i)
        fine = fine && parse_place(argv[i + 2], &places[i]);
    if (!fine) {
        fprintf(stderr, "usage: %s SECONDS tmpfs=DIRECTORY disk=DIRECTORY\n", argv[0]);
        return 2;
    }
    printf("| workload | where | floor | library | ratio (middle half of the rounds) | aim"
           " | SQLCipher to library, journal DELETE | journal WAL |\n"
           "|---|---|---|---|---|---|---|---|\n");
    for (int i = 0; i < workload_count; ++i) {
        if (!leave_same_files(places[0], workloads[i]))
            return 1;
    }
    for (const place &at : places) {
        if (!measure_all(at, seconds))
            return 1;
    }
    return 0;
}
