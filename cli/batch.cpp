// Lines run in worker processes forked from a parent that starts no threads
// of its own, so a worker begins as a fresh single-threaded `render` would.
// A worker renders one line after another, each from a new session, as
// `sheet` renders its cells; it is replaced after a number of lines and
// after a big picture, so nothing a long run leaves behind builds up. A
// worker prepares its line, says how many pixels it will render and waits
// for a go-ahead: small pictures run several at once on one thread each, a
// big one alone with every core's thread.
#include "cli/batch.h"

#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>

#include "cli/commands.h"
#include "cli/manifest.h"
#include "core/parallel.h"
#include "core/platform.h"
#include "core/sha256.h"

namespace tsn::cli {

namespace {

using Clock = std::chrono::steady_clock;

// Pictures of this many pixels or more render alone, with every thread.
constexpr long long kBigPicture = 1024LL * 1024;

void Fail(const std::string& message) {
    std::fprintf(stderr, "tsntxtr: %s\n", message.c_str());
}

double SecondsSince(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

// A line taken by this run and what became of it.
struct Job {
    const ManifestLine* line = nullptr;
    RenderRequest request;
    bool parsed = false;
    std::vector<std::string> outputs;
    std::string status;  // "ok", "failed" or "skipped"; empty while pending
    std::vector<std::string> messages;
    double seconds = 0;
    std::vector<std::string> digests;
};

bool IsFile(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool WriteAll(int fd, const std::string& s) {
    std::size_t at = 0;
    while (at < s.size()) {
        const ssize_t n = write(fd, s.data() + at, s.size() - at);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        at += std::size_t(n);
    }
    return true;
}

// Records a worker sends among its messages on its standard error, each a
// line beginning with this byte: "P pixels" when its line is prepared, "H
// digest" for each output, "D code" when the line is done.
constexpr char kRecord = '\x01';
// Lines a worker renders before it makes way for a fresh one.
constexpr int kLinesPerWorker = 64;

// Reads one command line from the parent; false at its end.
bool ReadCommand(int fd, std::string* line) {
    line->clear();
    char c;
    for (;;) {
        const ssize_t n = read(fd, &c, 1);
        if (n < 0 && errno == EINTR) continue;
        if (n != 1) return false;
        if (c == '\n') return true;
        *line += c;
    }
}

void Record(const std::string& text) {
    WriteAll(STDERR_FILENO, kRecord + text + "\n");
}

// The worker's side: "J index" renders job `index` as `render` would,
// with "G threads" as the go-ahead once it has said its size.
[[noreturn]] void RunWorker(const std::vector<Job>& jobs, int commands, bool digests) {
    std::string command;
    while (ReadCommand(commands, &command)) {
        if (command.rfind("J ", 0) != 0) break;
        const Job& job = jobs[std::stoul(command.substr(2))];
        const int code = Render(job.request, [&](long long pixels) {
            Record("P " + std::to_string(pixels));
            if (!ReadCommand(commands, &command) || command.rfind("G ", 0) != 0)
                _exit(1);  // the batch is gone
            SetWorkerThreads(std::atoi(command.c_str() + 2));
        });
        if (code == 0 && digests) {
            for (const std::string& out : job.outputs) {
                std::string hex;
                Record("H " + (Sha256OfFile(out.c_str(), &hex) ? hex : "-"));
            }
        }
        Record("D " + std::to_string(code));
    }
    std::fflush(stdout);
    _exit(0);
}

// A worker seen from the parent.
struct Worker {
    pid_t pid = -1;
    int commands = -1;  // the parent's end of the worker's commands
    int reports = -1;   // the worker's standard error: messages and records
    std::string text;   // read but not yet taken
    bool busy = false;
    std::size_t job = 0;
    enum State { Preparing, Waiting, Rendering } state = Preparing;
    bool big = false;    // renders alone
    bool heavy = false;  // a big picture, or one whose size was not known
    int lines = 0;
    Clock::time_point started, waitFrom;
    double waited = 0;
};

// The cores this process may run on: those a scheduler such as Slurm gave
// it, else the machine's.
int UsableCores() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) == 0 && CPU_COUNT(&set) > 0)
        return std::min(CPU_COUNT(&set), WorkerThreads());
    return WorkerThreads();
}

class Runner {
  public:
    Runner(std::vector<Job>& jobs, const BatchRequest& b)
        : jobs_(jobs),
          b_(b),
          cores_(UsableCores()),
          slots_(b.jobs > 0 ? b.jobs : cores_),
          smallThreads_(std::max(1, cores_ / slots_)),
          terminal_(isatty(STDERR_FILENO) != 0) {}

    void Run() {
        while (next_ < jobs_.size() || Busy() > 0) {
            StartWaitingBig();
            while (next_ < jobs_.size() && MayStart()) Start(next_++);
            if (Busy() == 0) continue;
            Poll();
            ShowProgress(false);
        }
        while (!workers_.empty()) Retire(workers_.size() - 1);
        ShowProgress(true);
    }

    std::size_t failed() const { return failed_; }

  private:
    std::size_t Busy() const {
        return std::size_t(std::count_if(workers_.begin(), workers_.end(),
                                         [](const Worker& w) { return w.busy; }));
    }
    bool MayStart() const {
        if (Busy() >= std::size_t(slots_)) return false;
        // A big picture waiting or rendering has the machine to itself.
        return std::none_of(workers_.begin(), workers_.end(),
                            [](const Worker& w) { return w.busy && w.big; });
    }

    void Finish(Job& job, const char* status) {
        job.status = status;
        ++done_;
        if (job.status == "failed") ++failed_;
        if (job.status == "ok") ++rendered_;
        for (const std::string& m : job.messages)
            Say(b_.manifest + ":" + std::to_string(job.line->number) + ": " + m);
    }

    void Start(std::size_t i) {
        Job& job = jobs_[i];
        if (!job.parsed) return Finish(job, "failed");
        if (b_.resume && std::all_of(job.outputs.begin(), job.outputs.end(), IsFile)) {
            if (!b_.report.empty())
                for (const std::string& out : job.outputs) {
                    std::string hex;
                    job.digests.push_back(Sha256OfFile(out.c_str(), &hex) ? hex : "-");
                }
            return Finish(job, "skipped");
        }
        // An idle worker, else a new one; one that has gone is replaced.
        for (int attempt = 0; attempt < 2; ++attempt) {
            auto idle = std::find_if(workers_.begin(), workers_.end(),
                                     [](const Worker& w) { return !w.busy; });
            std::size_t w = std::size_t(idle - workers_.begin());
            if (idle == workers_.end()) {
                std::string why;
                if (!Spawn(&why)) {
                    job.messages.push_back("cannot start a worker: " + why);
                    return Finish(job, "failed");
                }
                w = workers_.size() - 1;
            }
            Worker& worker = workers_[w];
            if (!WriteAll(worker.commands, "J " + std::to_string(i) + "\n")) {
                Retire(w);
                continue;
            }
            worker.busy = true;
            worker.job = i;
            worker.state = Worker::Preparing;
            worker.big = false;
            worker.heavy = false;
            worker.started = Clock::now();
            worker.waitFrom = {};
            worker.waited = 0;
            ++worker.lines;
            return;
        }
        job.messages.push_back("the worker for this line stopped before it began");
        Finish(job, "failed");
    }

    bool Spawn(std::string* why) {
        int commands[2], reports[2];
        if (pipe(commands) != 0) {
            *why = std::strerror(errno);
            return false;
        }
        if (pipe(reports) != 0) {
            *why = std::strerror(errno);
            close(commands[0]);
            close(commands[1]);
            return false;
        }
        std::fflush(stdout);
        std::fflush(stderr);
        const pid_t pid = fork();
        if (pid == 0) {
            // Only this worker's own ends stay open, so the parent sees each
            // pipe's end as soon as its worker is gone.
            for (const Worker& w : workers_) {
                close(w.commands);
                close(w.reports);
            }
            close(commands[1]);
            close(reports[0]);
            dup2(reports[1], STDERR_FILENO);
            close(reports[1]);
            RunWorker(jobs_, commands[0], !b_.report.empty());
        }
        close(commands[0]);
        close(reports[1]);
        if (pid < 0) {
            *why = std::strerror(errno);
            close(commands[1]);
            close(reports[0]);
            return false;
        }
        Worker w;
        w.pid = pid;
        w.commands = commands[1];
        w.reports = reports[0];
        workers_.push_back(w);
        return true;
    }

    // Ends worker w: its commands close, it leaves, and it is waited for.
    // Returns how it ended (waitpid's status).
    int Retire(std::size_t w) {
        Worker& worker = workers_[w];
        close(worker.commands);
        if (worker.reports >= 0) close(worker.reports);
        int status = 0;
        while (waitpid(worker.pid, &status, 0) < 0 && errno == EINTR) {
        }
        workers_.erase(workers_.begin() + std::ptrdiff_t(w));
        return status;
    }

    void Go(Worker& w, int threads) {
        w.state = Worker::Rendering;
        if (w.waitFrom != Clock::time_point{}) w.waited = SecondsSince(w.waitFrom);
        WriteAll(w.commands, "G " + std::to_string(std::clamp(threads, 1, 255)) + "\n");
    }

    // A big picture waiting starts once nothing else runs.
    void StartWaitingBig() {
        auto waiting = std::find_if(workers_.begin(), workers_.end(), [](const Worker& w) {
            return w.busy && w.state == Worker::Waiting;
        });
        if (waiting == workers_.end()) return;
        for (const Worker& w : workers_)
            if (w.busy && w.state != Worker::Waiting) return;
        Go(*waiting, cores_);
    }

    // One line from worker w: a record or a message of its job. True when
    // the job is done.
    bool Heard(Worker& w, std::string line) {
        Job& job = jobs_[w.job];
        if (line.empty() || line[0] != kRecord) {
            if (line.rfind("tsntxtr: ", 0) == 0) line.erase(0, 9);
            if (!line.empty()) job.messages.push_back(line);
            return false;
        }
        line.erase(0, 1);
        if (line.rfind("P ", 0) == 0) {
            const long long pixels = std::atoll(line.c_str() + 2);
            // A kind whose size only its render knows counts as big. A big
            // picture's worker is replaced afterwards, giving its memory back.
            w.heavy = pixels <= 0 || pixels >= kBigPicture;
            w.big = w.heavy || slots_ == 1;
            if (w.big) {
                w.state = Worker::Waiting;
                w.waitFrom = Clock::now();
            } else {
                Go(w, smallThreads_);
            }
        } else if (line.rfind("H ", 0) == 0) {
            job.digests.push_back(line.substr(2));
        } else if (line.rfind("D ", 0) == 0) {
            job.seconds = SecondsSince(w.started) - w.waited;
            const int code = std::atoi(line.c_str() + 2);
            if (code != 0) {
                if (job.messages.empty())
                    job.messages.push_back("the render failed (exit " + std::to_string(code) + ")");
                job.digests.clear();
            }
            w.busy = false;
            Finish(job, code == 0 ? "ok" : "failed");
            return true;
        }
        return false;
    }

    void Poll() {
        std::vector<pollfd> fds;
        std::vector<std::size_t> which;
        for (std::size_t i = 0; i < workers_.size(); ++i)
            if (workers_[i].busy) {
                fds.push_back({workers_[i].reports, POLLIN, 0});
                which.push_back(i);
            }
        if (poll(fds.data(), fds.size(), 100) < 0) return;
        std::vector<std::size_t> retire;
        for (std::size_t f = 0; f < fds.size(); ++f) {
            if (!fds[f].revents) continue;
            Worker& w = workers_[which[f]];
            char buf[4096];
            const ssize_t n = read(w.reports, buf, sizeof buf);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                retire.push_back(which[f]);
                continue;
            }
            w.text.append(buf, std::size_t(n));
            std::size_t end;
            bool done = false;
            while (!done && (end = w.text.find('\n')) != std::string::npos) {
                const std::string line = w.text.substr(0, end);
                w.text.erase(0, end + 1);
                done = Heard(w, line);
            }
            // A worker makes way for a fresh one after its share of lines
            // and after a big picture.
            if (done && (w.lines >= kLinesPerWorker || w.heavy)) retire.push_back(which[f]);
        }
        std::sort(retire.rbegin(), retire.rend());
        for (std::size_t i : retire) {
            const bool busy = workers_[i].busy;
            Job& job = jobs_[workers_[i].job];
            const std::string rest = workers_[i].text;
            const double seconds = SecondsSince(workers_[i].started) - workers_[i].waited;
            const int status = Retire(i);
            if (busy) Stopped(job, rest, status, seconds);
        }
    }

    // The worker of `job` ended before the line was done.
    void Stopped(Job& job, const std::string& rest, int status, double seconds) {
        if (!rest.empty() && rest[0] != kRecord) job.messages.push_back(rest);
        if (WIFSIGNALED(status))
            job.messages.push_back(std::string("the render was stopped by signal ") +
                                   std::to_string(WTERMSIG(status)) + " (" +
                                   strsignal(WTERMSIG(status)) + ")");
        else
            job.messages.push_back("the render ended before it was done (exit " +
                                   std::to_string(WEXITSTATUS(status)) + ")");
        job.digests.clear();
        job.seconds = seconds;
        Finish(job, "failed");
    }

    // Messages go above the progress line, which is then drawn again.
    void Say(const std::string& message) {
        ClearProgress();
        std::fprintf(stderr, "tsntxtr: %s\n", message.c_str());
    }
    void ClearProgress() {
        if (!shown_) return;
        std::fprintf(stderr, "\r\033[K");
        shown_ = false;
    }
    void ShowProgress(bool last) {
        if (!terminal_) return;
        if (last) return ClearProgress();
        const double elapsed = SecondsSince(start_);
        if (elapsed < 1 || SecondsSince(drawn_) < 0.2) return;
        drawn_ = Clock::now();
        std::string left = "";
        const std::size_t toDo = jobs_.size() - done_;
        if (rendered_ > 0 && toDo > 0) {
            const long s = long(elapsed / double(rendered_) * double(toDo) + 0.5);
            char text[64];
            std::snprintf(text, sizeof text, ", %ld:%02ld left", s / 60, s % 60);
            left = text;
        }
        const int width = 30;
        const int filled =
            int(double(done_) / double(std::max<std::size_t>(1, jobs_.size())) * width);
        const std::string failed = failed_ ? ", " + std::to_string(failed_) + " failed" : "";
        std::fprintf(stderr, "\rtsntxtr: [%s%s] %zu of %zu lines%s%s\033[K",
                     std::string(filled, '#').c_str(), std::string(width - filled, '.').c_str(),
                     done_, jobs_.size(), failed.c_str(), left.c_str());
        shown_ = true;
    }

    std::vector<Job>& jobs_;
    const BatchRequest& b_;
    const int cores_, slots_, smallThreads_;
    const bool terminal_;
    std::vector<Worker> workers_;
    std::size_t next_ = 0, done_ = 0, failed_ = 0, rendered_ = 0;
    Clock::time_point start_ = Clock::now(), drawn_{};
    bool shown_ = false;
};

bool ReadText(const std::string& path, std::string* text) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    char buf[65536];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) text->append(buf, n);
    const bool ok = !std::ferror(f);
    std::fclose(f);
    return ok;
}

std::string Joined(const std::vector<std::string>& parts, const char* between) {
    std::string s;
    for (const std::string& p : parts) s += (s.empty() ? "" : between) + p;
    return s;
}

bool WriteReport(const std::string& path, const std::vector<Job>& jobs) {
    std::string csv = "line,outputs,status,seconds,sha256,message\n";
    for (const Job& j : jobs) {
        char seconds[32];
        std::snprintf(seconds, sizeof seconds, "%.3f", j.seconds);
        csv += std::to_string(j.line->number) + "," + CsvField(Joined(j.outputs, ";"), true) + "," +
               j.status + "," + seconds + "," + CsvField(Joined(j.digests, ";"), true) + "," +
               CsvField(j.status == "failed" ? Joined(j.messages, "; ") : "", true) + "\n";
    }
    return WriteFileBeside(path.c_str(), "wb", [&](std::FILE* f) {
        return std::fwrite(csv.data(), 1, csv.size(), f) == csv.size();
    });
}

}  // namespace

CLI::App* AddBatchCommand(CLI::App& app, BatchRequest& b) {
    CLI::App* sub = app.add_subcommand(
        "batch", "Render every line of a manifest (each line the arguments of render)");
    sub->add_option("MANIFEST", b.manifest,
                    "text file, one render per line; # comments; paths from its folder")
        ->required();
    sub->add_option("--shard", b.shard, "K/N: take every N-th render line from line K (from 0)");
    sub->add_flag("--resume", b.resume, "skip the lines whose outputs all exist");
    sub->add_option("--report", b.report,
                    "write a CSV row per line: line, outputs, status, seconds, SHA-256");
    sub->add_option("-j,--jobs", b.jobs, "small renders at once (default: one per core)")
        ->check(CLI::Range(1, 256));
    return sub;
}

int Batch(const BatchRequest& b) {
    int k = 0, n = 1;
    std::string error;
    if (!b.shard.empty() && !ParseShard(b.shard, &k, &n, &error)) {
        Fail(error);
        return 2;
    }
    std::string text;
    if (!ReadText(b.manifest, &text)) {
        Fail("cannot read the manifest '" + b.manifest + "': " + std::strerror(errno));
        return 2;
    }
    const std::vector<ManifestLine> lines = ReadManifestText(text);
    const std::string folder = FolderOf(b.manifest);
    // Every line is read, taken or not, so that all shards agree on which
    // line writes which file.
    std::vector<Job> all(lines.size());
    std::map<std::string, int> writer;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        Job& job = all[i];
        job.line = &lines[i];
        if (!lines[i].error.empty()) {
            job.messages.push_back(lines[i].error);
            continue;
        }
        if (!ParseRenderLine(lines[i].words, folder, &job.request, &error)) {
            job.messages.push_back(error);
            continue;
        }
        job.outputs = OutputsOf(job.request);
        job.parsed = true;
        for (const std::string& out : job.outputs) {
            const auto [at, isNew] = writer.emplace(out, lines[i].number);
            if (!isNew && job.parsed) {
                job.messages.push_back("line " + std::to_string(at->second) + " writes '" + out +
                                       "' already");
                job.parsed = false;
            }
        }
    }
    std::vector<Job> taken;
    for (std::size_t i = 0; i < all.size(); ++i)
        if (InShard(i, k, n)) taken.push_back(std::move(all[i]));
    // A child that is gone must not end the batch when it is told to go.
    signal(SIGPIPE, SIG_IGN);
    Runner runner(taken, b);
    runner.Run();
    int code = runner.failed() ? 1 : 0;
    if (runner.failed())
        Fail(std::to_string(runner.failed()) + " of " + std::to_string(taken.size()) +
             " lines failed");
    if (!b.report.empty() && !WriteReport(b.report, taken)) {
        Fail("cannot write the report '" + b.report + "'");
        code = 1;
    }
    return code;
}

}  // namespace tsn::cli
