// Lines run in child processes forked from a parent that starts no threads
// of its own, so every child begins as a fresh single-threaded `render`
// would, and no state of one render (the session's pages, the configuration
// read, the progress counters) can reach another. A child prepares its
// request, says how many pixels it will render and waits for a go-ahead:
// small pictures run several at once on one thread each, a big one alone
// with every core's thread.
#include "cli/batch.h"

#include <poll.h>
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

// A child rendering one job, seen from the parent.
struct Child {
    std::size_t job = 0;
    pid_t pid = -1;
    int control = -1;  // the child's reports: "P pixels", "H digest"
    int errors = -1;   // the child's standard error
    int go = -1;       // the go-ahead: one byte, the threads to use
    std::string controlText, errorText;
    enum State { Preparing, Waiting, Rendering } state = Preparing;
    bool big = false;
    Clock::time_point started = Clock::now(), waitFrom;
    double waited = 0;
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

// The child's side: renders the job as `render` would and reports.
[[noreturn]] void RunChild(const Job& job, int control, int go, bool digests) {
    const int code = Render(job.request, [&](long long pixels) {
        WriteAll(control, "P " + std::to_string(pixels) + "\n");
        unsigned char threads = 0;
        ssize_t n;
        while ((n = read(go, &threads, 1)) < 0 && errno == EINTR) {
        }
        if (n != 1) _exit(1);  // the batch is gone
        SetWorkerThreads(threads);
    });
    if (code == 0 && digests) {
        for (const std::string& out : job.outputs) {
            std::string hex;
            WriteAll(control, "H " + (Sha256OfFile(out.c_str(), &hex) ? hex : "-") + "\n");
        }
    }
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(code);
}

class Runner {
  public:
    Runner(std::vector<Job>& jobs, const BatchRequest& b)
        : jobs_(jobs),
          b_(b),
          slots_(b.jobs > 0 ? b.jobs : WorkerThreads()),
          smallThreads_(std::max(1, WorkerThreads() / slots_)),
          terminal_(isatty(STDERR_FILENO) != 0) {}

    void Run() {
        while (next_ < jobs_.size() || !children_.empty()) {
            StartWaitingBig();
            while (next_ < jobs_.size() && MayStart()) Start(next_++);
            if (children_.empty()) continue;
            Poll();
            ShowProgress(false);
        }
        ShowProgress(true);
    }

  private:
    bool MayStart() const {
        if (children_.size() >= std::size_t(slots_)) return false;
        // A big picture waiting or rendering has the machine to itself.
        return std::none_of(children_.begin(), children_.end(),
                            [](const Child& c) { return c.big; });
    }

    void Finish(Job& job, const char* status) {
        job.status = status;
        ++done_;
        if (job.status == std::string("failed")) ++failed_;
        if (job.status == std::string("ok")) ++rendered_;
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
        int control[2], errors[2], go[2];
        if (pipe(control) != 0) return ForkFailed(job);
        if (pipe(errors) != 0) {
            CloseBoth(control);
            return ForkFailed(job);
        }
        if (pipe(go) != 0) {
            CloseBoth(control);
            CloseBoth(errors);
            return ForkFailed(job);
        }
        std::fflush(stdout);
        std::fflush(stderr);
        const pid_t pid = fork();
        if (pid == 0) {
            // Only this child's own ends stay open, so each pipe's end is
            // seen as soon as its child is gone.
            for (const Child& c : children_) {
                close(c.control);
                close(c.errors);
                close(c.go);
            }
            close(control[0]);
            close(errors[0]);
            close(go[1]);
            dup2(errors[1], STDERR_FILENO);
            close(errors[1]);
            RunChild(job, control[1], go[0], !b_.report.empty());
        }
        close(control[1]);
        close(errors[1]);
        close(go[0]);
        if (pid < 0) {
            close(control[0]);
            close(errors[0]);
            close(go[1]);
            return ForkFailed(job);
        }
        Child c;
        c.job = i;
        c.pid = pid;
        c.control = control[0];
        c.errors = errors[0];
        c.go = go[1];
        children_.push_back(c);
    }

    static void CloseBoth(int fds[2]) {
        close(fds[0]);
        close(fds[1]);
    }
    void ForkFailed(Job& job) {
        job.messages.push_back(std::string("cannot start a render: ") + std::strerror(errno));
        Finish(job, "failed");
    }

    void Go(Child& c, int threads) {
        c.state = Child::Rendering;
        if (c.waitFrom != Clock::time_point{}) c.waited = SecondsSince(c.waitFrom);
        const unsigned char n = static_cast<unsigned char>(std::clamp(threads, 1, 255));
        ssize_t w;
        while ((w = write(c.go, &n, 1)) < 0 && errno == EINTR) {
        }
        close(c.go);
        c.go = -1;
    }

    // A big picture waiting starts once nothing else runs.
    void StartWaitingBig() {
        auto waiting = std::find_if(children_.begin(), children_.end(),
                                    [](const Child& c) { return c.state == Child::Waiting; });
        if (waiting == children_.end()) return;
        for (const Child& c : children_)
            if (c.state != Child::Waiting) return;
        Go(*waiting, WorkerThreads());
    }

    void Heard(Child& c, const std::string& line) {
        if (line.rfind("P ", 0) == 0) {
            const long long pixels = std::atoll(line.c_str() + 2);
            // A kind whose size only its render knows counts as big.
            c.big = pixels <= 0 || pixels >= kBigPicture || slots_ == 1;
            if (c.big) {
                c.state = Child::Waiting;
                c.waitFrom = Clock::now();
            } else {
                Go(c, smallThreads_);
            }
        } else if (line.rfind("H ", 0) == 0) {
            jobs_[c.job].digests.push_back(line.substr(2));
        }
    }

    // Reads what there is to read, taking complete lines.
    static bool Drain(int* fd, std::string* text) {
        char buf[4096];
        const ssize_t n = read(*fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) return true;
        if (n <= 0) {
            close(*fd);
            *fd = -1;
            return false;
        }
        text->append(buf, std::size_t(n));
        return true;
    }

    void Poll() {
        std::vector<pollfd> fds;
        for (const Child& c : children_) {
            fds.push_back({c.control, POLLIN, 0});
            fds.push_back({c.errors, POLLIN, 0});
        }
        if (poll(fds.data(), fds.size(), 100) < 0 && errno != EINTR) return;
        for (std::size_t i = 0; i < children_.size(); ++i) {
            Child& c = children_[i];
            if (fds[2 * i].revents && c.control >= 0) {
                Drain(&c.control, &c.controlText);
                std::size_t end;
                while ((end = c.controlText.find('\n')) != std::string::npos) {
                    const std::string line = c.controlText.substr(0, end);
                    c.controlText.erase(0, end + 1);
                    Heard(c, line);
                }
            }
            if (fds[2 * i + 1].revents && c.errors >= 0) Drain(&c.errors, &c.errorText);
        }
        for (std::size_t i = 0; i < children_.size();) {
            if (children_[i].control < 0 && children_[i].errors < 0) {
                Reap(children_[i]);
                children_.erase(children_.begin() + std::ptrdiff_t(i));
            } else {
                ++i;
            }
        }
    }

    void Reap(Child& c) {
        Job& job = jobs_[c.job];
        int status = 0;
        while (waitpid(c.pid, &status, 0) < 0 && errno == EINTR) {
        }
        if (c.go >= 0) close(c.go);
        job.seconds = SecondsSince(c.started) - c.waited;
        // The child's messages, without the command's own prefix.
        std::size_t at = 0, end;
        c.errorText += c.errorText.empty() || c.errorText.back() == '\n' ? "" : "\n";
        while ((end = c.errorText.find('\n', at)) != std::string::npos) {
            std::string m = c.errorText.substr(at, end - at);
            at = end + 1;
            if (m.rfind("tsntxtr: ", 0) == 0) m.erase(0, 9);
            if (!m.empty()) job.messages.push_back(m);
        }
        const bool ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (!ok && WIFSIGNALED(status))
            job.messages.push_back(std::string("the render was stopped by signal ") +
                                   std::to_string(WTERMSIG(status)) + " (" +
                                   strsignal(WTERMSIG(status)) + ")");
        else if (!ok && job.messages.empty())
            job.messages.push_back("the render failed (exit " +
                                   std::to_string(WEXITSTATUS(status)) + ")");
        if (!ok) job.digests.clear();
        Finish(job, ok ? "ok" : "failed");
    }

    // Messages go above the progress line, which is then drawn again.
    void Say(const std::string& message) {
        ClearProgress();
        std::fprintf(stderr, "tsntxtr: %s\n", message.c_str());
    }
    void ClearProgress() {
        if (!shown_) return;
        std::fprintf(stderr, "\r%79s\r", "");
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
        std::fprintf(
            stderr, "\rtsntxtr: [%s%s] %zu of %zu lines%s%s", std::string(filled, '#').c_str(),
            std::string(width - filled, '.').c_str(), done_, jobs_.size(),
            failed_ ? (", " + std::to_string(failed_) + " failed").c_str() : "", left.c_str());
        shown_ = true;
    }

    std::vector<Job>& jobs_;
    const BatchRequest& b_;
    const int slots_, smallThreads_;
    const bool terminal_;
    std::vector<Child> children_;
    std::size_t next_ = 0, done_ = 0, failed_ = 0, rendered_ = 0;
    Clock::time_point start_ = Clock::now(), drawn_{};
    bool shown_ = false;

  public:
    std::size_t failed() const { return failed_; }
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
