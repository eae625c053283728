#include "pdb_client/program/verification.h"

#include <algorithm>
#include <atomic>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/json.hpp>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <thread>

#include "pdb_client/program/columns.h"
#include "pdb_client/program/display_text.h"
#include "pdb_client/program/json_output.h"
#include "pdb_client/program/module_verdict.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

using boost::filesystem::path;

constexpr std::size_t max_connections = 4;
constexpr std::size_t max_path_width = 48;

bool may_be_module(const path& file) {
    const path extension = file.extension();
    return boost::iequals(extension.native(), path(".dll").native()) ||
           boost::iequals(extension.native(), path(".exe").native());
}

// Links to directories are not followed; directories that cannot be read are left out.
std::vector<path> find_modules(const path& directory) {
    namespace fs = boost::filesystem;
    constexpr auto how = fs::directory_options::skip_permission_denied | fs::directory_options::pop_on_error;
    boost::system::error_code ignored;
    std::vector<path> files;
    fs::recursive_directory_iterator entry(text::to_system_path(directory), how, ignored);
    for (; entry != fs::recursive_directory_iterator(); entry.increment(ignored)) {
        const path& file = entry->path();
        if (may_be_module(file) && fs::is_regular_file(text::to_system_path(file), ignored)) files.push_back(file);
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The verdicts on a list of files, made by several threads.
class verifier {
public:
    verifier(const options& wanted, const connector& connect, const std::vector<path>& files)
        : wanted_(wanted), connect_(connect), files_(files) {
        const std::size_t count = std::min(files.size(), max_connections);
        for (std::size_t i = 0; i < count; ++i) threads_.emplace_back([this] { work(); });
    }

    ~verifier() { stopped_ = true; }
    verifier(const verifier&) = delete;
    verifier& operator=(const verifier&) = delete;

    // Waits for the verdict on one file; each is handed out once. `waiting` is called with the number of files that are
    // done whenever there is a further one. Throws what a thread has thrown.
    template <class Waiting>
    module_verdict take(std::size_t index, Waiting waiting) {
        std::unique_lock lock(mutex_);
        while (done_.count(index) == 0 && !failure_) {
            waiting(done_count_);
            changed_.wait(lock);
        }
        if (failure_) std::rethrow_exception(failure_);
        return std::move(done_.extract(index).mapped());
    }

private:
    void work() {
        try {
            const std::unique_ptr<ICoreStream> stream = connect_();
            session server(*stream, wanted_.search);
            const auto stop = [this] { return stopped_.load(); };
            for (std::size_t index = next_++; index < files_.size() && !stopped_; index = next_++)
                keep(index, verify_module(server, files_[index], wanted_, stop));
            [[maybe_unused]] const auto goodbye = server.quit();
        } catch (...) {
            const std::lock_guard lock(mutex_);
            if (!failure_) failure_ = std::current_exception();
            stopped_ = true;
            changed_.notify_one();
        }
    }

    void keep(std::size_t index, module_verdict verdict) {
        const std::lock_guard lock(mutex_);
        done_.emplace(index, std::move(verdict));
        ++done_count_;
        changed_.notify_one();
    }

    const options& wanted_;
    const connector& connect_;
    const std::vector<path>& files_;
    std::atomic<std::size_t> next_{0};
    std::atomic<bool> stopped_{false};
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::size_t, module_verdict> done_;  // and not handed out
    std::size_t done_count_ = 0;
    std::exception_ptr failure_;
    std::vector<std::jthread> threads_;  // joined before what they use goes
};

// Shows the verdicts and counts them.
class report {
public:
    report() = default;
    report(const report&) = delete;
    report& operator=(const report&) = delete;
    virtual ~report() = default;

    virtual void begin() = 0;
    virtual void add(const std::string& name, const module_verdict& verdict) = 0;
    virtual void end() = 0;

    void count(const module_verdict& verdict) {
        ++modules_;
        with_symbols_ += verdict.loaded ? 1u : 0u;
        bad_ += verdict.good() ? 0u : 1u;
    }
    bool all_good() const noexcept { return bad_ == 0; }

protected:
    std::size_t modules_ = 0;
    std::size_t with_symbols_ = 0;
    std::size_t bad_ = 0;
};

class table_report final : public report {
public:
    table_report(output& out, const std::vector<std::string>& names) : out_(out) {
        for (const std::string& name : names) width_ = std::max(width_, std::min(name.size(), max_path_width));
    }

    void begin() override {
        out_.write(left("module", width_) + "  symbols   methods  with points   points  sources that match\n");
    }

    void add(const std::string& name, const module_verdict& verdict) override {
        std::string line = left(keep_tail(name, width_), width_) + "  ";
        line += left(verdict.loaded ? kind_name(verdict.symbols) : "none", 8) + "  ";
        if (verdict.loaded) {
            line += right(std::to_string(verdict.methods), 7) + "  " +
                    right(std::to_string(verdict.methods_with_points), 11) + "  " +
                    right(std::to_string(verdict.points), 7) + "  " + sources_text(verdict);
            if (!verdict.reason.empty()) line += "; ";
        }
        out_.write(without_trailing_blanks(line + printable(std::string_view(verdict.reason))) + "\n");
    }

    void end() override {
        std::string text("\n");
        text += counted(modules_, "module") + ", " + std::to_string(with_symbols_) + " with symbols, " +
                std::to_string(bad_) + " without what the image names\n";
        out_.write(text);
    }

private:
    static std::string sources_text(const module_verdict& verdict) {
        std::string text = std::to_string(verdict.matching_sources) + " of " + std::to_string(verdict.documents);
        const std::size_t others = verdict.sources - verdict.matching_sources;
        return others == 0 ? text : text + ", " + std::to_string(others) + " not";
    }

    output& out_;
    std::size_t width_ = 6;
};

class json_report final : public report {
public:
    json_report(output& out, const path& directory) : lines_(out), directory_(directory) {}

    void begin() override {
        lines_.add("directory", boost::json::string(text::to_utf8(text::to_wide(directory_))));
        lines_.begin_list("modules");
    }

    void add(const std::string& name, const module_verdict& verdict) override {
        boost::json::object value{{"module", name},
                                  {"mvid", guid_text(verdict.mvid)},
                                  {"symbols", kind_name(verdict.symbols)},
                                  {"loaded", verdict.loaded}};
        value["reason"] = verdict.reason.empty() ? boost::json::value() : json_text(verdict.reason);
        value["methodDefs"] = verdict.methods;
        value["methodsWithPoints"] = verdict.methods_with_points;
        value["points"] = verdict.points;
        value["documents"] = verdict.documents;
        value["sources"] = verdict.sources;
        value["matchingSources"] = verdict.matching_sources;
        lines_.add_element(value);
    }

    void end() override {
        lines_.end_list();
        lines_.add("good", all_good());
        lines_.finish();
    }

private:
    json_lines lines_;
    const path& directory_;
};

std::vector<std::string> names_below(const path& directory, const std::vector<path>& files) {
    std::vector<std::string> names;
    const path root = text::to_system_path(directory);
    for (const path& file : files) names.push_back(printable(text::to_wide(file.lexically_relative(root))));
    return names;
}

std::unique_ptr<report> make_report(const options& wanted, const path& directory, output& out,
                                    const std::vector<std::string>& names) {
    if (wanted.json) return std::make_unique<json_report>(out, directory);
    return std::make_unique<table_report>(out, names);
}

}  // namespace

outcome verify(const options& wanted, const connector& connect, output& out, progress& shown) {
    const path directory = boost::filesystem::system_complete(wanted.module).remove_trailing_separator();
    const std::vector<path> files = find_modules(directory);
    const std::vector<std::string> names = names_below(directory, files);
    const std::unique_ptr<report> table = make_report(wanted, directory, out, names);
    std::string advice;
    table->begin();
    {
        verifier verdicts(wanted, connect, files);
        for (std::size_t i = 0; i < files.size(); ++i) {
            const module_verdict verdict = verdicts.take(i, [&](std::size_t done) { shown.show(done, files.size()); });
            if (!verdict.is_module) continue;
            table->count(verdict);
            if (!verdict.loaded && advice.empty()) advice = advice_on(verdict.reason);
            shown.clear();
            table->add(names[i], verdict);
        }
    }
    shown.clear();
    table->end();
    outcome result{exit_code::done, advice};
    if (!table->all_good()) result.code = exit_code::error_answer;
    return result;
}

}  // namespace qv::profiler::pdb_client
