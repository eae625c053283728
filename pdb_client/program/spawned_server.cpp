#include "pdb_client/program/spawned_server.h"

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "base/exception.h"
#include "pdb_client/library/pipe_name.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr DWORD output_buffer = 0x10000;  // far more than a server prints in its life, so that it never waits for us
constexpr DWORD stop_limit = 5000;        // milliseconds

void require(bool ok, source_location here = source_location::current()) {
    if (!ok) throw_win32_error("Can't prepare the server", ::GetLastError(), here);
}

// Others may know the process id, so the rest is not to be guessed.
std::wstring fresh_pipe_id() {
    std::random_device random;
    return L"pdb_client_" + std::to_wstring(::GetCurrentProcessId()) + L"_" + std::to_wstring(random()) + L"_" +
           std::to_wstring(random());
}

std::wstring stop_event_name(const std::wstring& pipe_id) {
    return pipe_id + L"_stop";
}

handle_hld create_event(const std::wstring& name) {
    handle_hld event(::CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
    require(event && ::GetLastError() != ERROR_ALREADY_EXISTS);
    return event;
}

handle_hld create_job() {
    handle_hld job(::CreateJobObjectW(nullptr, nullptr));
    require(static_cast<bool>(job));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    require(::SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits) != FALSE);
    return job;
}

// The attributes of a process that inherits these handles and no others, and that belongs to the job from its first
// moment: one that joined the job later would outlive a creator that is killed in between.
class start_attributes {
public:
    start_attributes(std::vector<HANDLE> handles, HANDLE job) : handles_(std::move(handles)), job_(job) {
        SIZE_T size = 0;
        ::InitializeProcThreadAttributeList(nullptr, count, 0, &size);  // fails; it is asked for the size
        storage_ = std::make_unique<unsigned char[]>(size);
        require(::InitializeProcThreadAttributeList(list(), count, 0, &size) != FALSE);
        if (!set(PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(), handles_.size() * sizeof(HANDLE)) ||
            !set(PROC_THREAD_ATTRIBUTE_JOB_LIST, &job_, sizeof job_)) {
            const DWORD code = ::GetLastError();
            ::DeleteProcThreadAttributeList(list());
            ::SetLastError(code);
            require(false);
        }
    }
    ~start_attributes() { ::DeleteProcThreadAttributeList(list()); }
    start_attributes(const start_attributes&) = delete;
    start_attributes& operator=(const start_attributes&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST list() const { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.get()); }

private:
    static constexpr DWORD count = 2;

    bool set(DWORD_PTR attribute, void* value, SIZE_T size) {
        return ::UpdateProcThreadAttribute(list(), 0, attribute, value, size, nullptr, nullptr) != FALSE;
    }

    std::vector<HANDLE> handles_;  // the list points to both
    HANDLE job_;
    std::unique_ptr<unsigned char[]> storage_;
};

// A word of a command line, so written that the program finds it whole: within quotes, a backslash is doubled where a
// quote follows it.
std::wstring quoted(const std::wstring& word) {
    if (!word.empty() && word.find_first_of(L" \t\"") == word.npos) return word;
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : word) {
        if (c == L'"') text.append(backslashes + 1, L'\\');
        text += c;
        backslashes = c == L'\\' ? backslashes + 1 : 0;
    }
    return text.append(backslashes, L'\\') + L"\"";
}

PROCESS_INFORMATION create_process(const std::wstring& executable, const std::vector<std::wstring>& arguments,
                                   HANDLE output, HANDLE job) {
    const start_attributes attributes({output}, job);
    STARTUPINFOEXW start{};
    start.StartupInfo.cb = sizeof start;
    start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    start.StartupInfo.hStdOutput = output;
    start.StartupInfo.hStdError = output;
    start.lpAttributeList = attributes.list();
    std::wstring command_line = quoted(executable);
    for (const std::wstring& word : arguments) command_line += L" " + quoted(word);
    PROCESS_INFORMATION created{};
    if (!::CreateProcessW(executable.c_str(), command_line.data(), nullptr, nullptr, TRUE,
                          CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &start.StartupInfo,
                          &created))
        throw_win32_error("Can't start the server", ::GetLastError(), errtag_file_name_w{executable});
    return created;
}

}  // namespace

spawned_server::spawned_server(const std::wstring& executable, const std::vector<std::wstring>& further_arguments)
    : pipe_id_(fresh_pipe_id()),
      ready_(create_event(ready_event_name(pipe_id_))),
      stop_(create_event(stop_event_name(pipe_id_))),
      job_(create_job()) {
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    require(::CreatePipe(&read, &write, nullptr, output_buffer) != FALSE);
    output_.reset(read);
    const handle_hld its_output(write);
    require(::SetHandleInformation(write, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != FALSE);

    std::vector<std::wstring> arguments = {L"--pipe", pipe_id_, L"--stop_request_event", stop_event_name(pipe_id_)};
    arguments.insert(arguments.end(), further_arguments.begin(), further_arguments.end());
    const PROCESS_INFORMATION created = create_process(executable, arguments, write, job_.get());
    process_.reset(created.hProcess);
    ::CloseHandle(created.hThread);
}

spawned_server::~spawned_server() {
    ::SetEvent(stop_.get());
    if (::WaitForSingleObject(process_.get(), stop_limit) == WAIT_OBJECT_0) return;
    ::TerminateJobObject(job_.get(), 1);
    ::WaitForSingleObject(process_.get(), stop_limit);
}

void spawned_server::wait_until_ready(std::chrono::milliseconds limit) const {
    const HANDLE either[] = {ready_.get(), process_.get()};
    const auto milliseconds = static_cast<DWORD>(std::clamp<long long>(limit.count(), 0, MAXDWORD - 1));
    const DWORD which = ::WaitForMultipleObjects(2, either, FALSE, milliseconds);
    if (which == WAIT_OBJECT_0) return;
    throw_error(which == WAIT_OBJECT_0 + 1 ? "The server ended before it was ready" : "The server isn't ready in time");
}

std::string spawned_server::take_output() const {
    std::string text;
    DWORD available = 0;
    while (::PeekNamedPipe(output_.get(), nullptr, 0, nullptr, &available, nullptr) && available != 0) {
        std::string part(available, '\0');
        DWORD read = 0;
        if (!::ReadFile(output_.get(), part.data(), available, &read, nullptr)) break;
        text.append(part, 0, read);
    }
    return text;
}

}  // namespace qv::profiler::pdb_client
