#include "tests/support/server/server_process.h"

// It needs <windows.h> before it.
#include <psapi.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cwchar>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "tests/support/server/handle_count.h"

namespace qv::testing {
namespace {

// Long enough for a loaded machine; a server that hangs never ends at all.
constexpr DWORD patience_milliseconds = 60000;

std::wstring unique_name() {
    static std::atomic<unsigned> counter{0};
    return L"qv-test-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++counter);
}

std::wstring quoted(const std::wstring& word) {
    return L"\"" + word + L"\"";
}

// A file that the child may inherit as its output.
handle_hld inheritable_file(const boost::filesystem::path& path) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    return handle_hld(valid_handle_or_null(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                       &inheritable, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

// This process's variables and one more, as CreateProcess wants them.
std::wstring environment_with(const std::wstring& variable) {
    struct freer {
        void operator()(wchar_t* block) const noexcept { FreeEnvironmentStringsW(block); }
    };
    const std::unique_ptr<wchar_t, freer> own(GetEnvironmentStringsW());
    const wchar_t* end = own.get();
    while (*end != L'\0') end += std::wcslen(end) + 1;
    return std::wstring(own.get(), static_cast<std::size_t>(end - own.get())) + variable + L'\0';
}

void check(bool succeeded, const char* what) {
    if (!succeeded) throw std::runtime_error(std::string(what) + " failed with " + std::to_string(GetLastError()));
}

}  // namespace

server_process::server_process(const settings& s) : pipe_id_(unique_name()) {
    const std::wstring stop_name = pipe_id_ + L"_stop";
    ready_.reset(CreateEventW(nullptr, TRUE, FALSE, (pipe_id_ + L"_ready").c_str()));
    stop_.reset(CreateEventW(nullptr, TRUE, FALSE, stop_name.c_str()));
    std::wstring command = quoted(s.executable.value_or(L"" QV_SERVER_EXECUTABLE)) + L" --pipe " +
                           quoted(s.pipe_argument.value_or(pipe_id_)) + L" --log_file " +
                           quoted(s.log_file.value_or((directory_.path() / "log.txt").native())) + L" --log_mask " +
                           std::to_wstring(s.log_mask) + L" --stop_request_event " + stop_name;
    for (const std::wstring& argument : s.further_arguments) command += L" " + quoted(argument);

    start(s, command);
    const HANDLE handles[] = {ready_.get(), process_.get()};
    EXPECT_NE(WaitForMultipleObjects(2, handles, FALSE, patience_milliseconds), DWORD{WAIT_TIMEOUT});
}

void server_process::start(const settings& s, std::wstring& command) {
    // One at a time: a child inherits all that may be inherited, also the files of another one.
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    // Pressing Ctrl-C for an earlier server made this process ignore it, which a child would inherit.
    SetConsoleCtrlHandler(nullptr, FALSE);
    const handle_hld output = inheritable_file(directory_.path() / "stdout.txt");
    const handle_hld errors = inheritable_file(directory_.path() / "stderr.txt");
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output.get();
    startup.hStdError = errors.get();
    PROCESS_INFORMATION process = {};
    std::wstring environment = environment_with(s.variable);
    const DWORD flags = CREATE_UNICODE_ENVIRONMENT | (s.own_console ? CREATE_NEW_CONSOLE : 0);
    check(CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, flags, environment.data(), nullptr, &startup,
                         &process) != FALSE,
          "CreateProcess");
    process_.reset(process.hProcess);
    process_id_ = process.dwProcessId;
    CloseHandle(process.hThread);
}

server_process::~server_process() {
    request_stop();
    if (exit_code() == STILL_ACTIVE) TerminateProcess(process_.get(), 99);
}

void server_process::request_stop() {
    SetEvent(stop_.get());
}

void server_process::press_control_c() {
    // The event goes to every process of the console that the caller is attached to, so that must be the server's.
    FreeConsole();
    check(AttachConsole(process_id_) != FALSE, "AttachConsole");
    SetConsoleCtrlHandler(nullptr, TRUE);
    check(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != FALSE, "GenerateConsoleCtrlEvent");
    FreeConsole();
}

DWORD server_process::exit_code() {
    WaitForSingleObject(process_.get(), patience_milliseconds);
    return exit_code_now();
}

DWORD server_process::exit_code_now() const {
    DWORD code = STILL_ACTIVE;
    GetExitCodeProcess(process_.get(), &code);
    return code;
}

server_process::resources server_process::holdings() const {
    resources result{};
    result.handles = test::count_handles(process_id_);
    PROCESS_MEMORY_COUNTERS counters{};
    check(GetProcessMemoryInfo(process_.get(), &counters, sizeof counters) != FALSE, "GetProcessMemoryInfo");
    result.memory = counters.PagefileUsage;
    return result;
}

raw_client::raw_client(const std::wstring& pipe_id, unsigned most_tries) {
    const std::wstring name = L"\\\\.\\pipe\\" + pipe_id;
    for (unsigned tries = 0; !pipe_; ++tries) {
        pipe_.reset(valid_handle_or_null(
            CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
        const DWORD error = GetLastError();
        check(pipe_ || ((error == ERROR_PIPE_BUSY || error == ERROR_FILE_NOT_FOUND) && tries < most_tries),
              "connecting");
        if (!pipe_) Sleep(10);
    }
}

void raw_client::send(const bytes& request) {
    DWORD written = 0;
    check(WriteFile(pipe_.get(), request.data(), static_cast<DWORD>(request.size()), &written, nullptr) != FALSE &&
              written == request.size(),
          "WriteFile");
}

bytes raw_client::receive(std::size_t size) {
    bytes answer(size);
    std::size_t done = 0;
    for (DWORD part = 0; done < size; done += part)
        if (!ReadFile(pipe_.get(), answer.data() + done, static_cast<DWORD>(size - done), &part, nullptr) || part == 0)
            break;
    answer.resize(done);
    return answer;
}

bytes raw_client::exchange_for(const bytes& request, std::size_t answer_size) {
    send(request);
    return receive(answer_size);
}

std::size_t raw_client::wrong_answers(const std::vector<exchange>& steps) {
    std::size_t wrong = 0;
    for (const exchange& step : steps) wrong += exchange_for(step.request, step.answer.size()) != step.answer;
    return wrong;
}

std::uint32_t raw_client::instances() const {
    DWORD count = 0;
    check(GetNamedPipeHandleStateW(pipe_.get(), nullptr, &count, nullptr, nullptr, nullptr, 0) != FALSE, "counting");
    return count;
}

served_client::served_client(const server_process& server) : raw_client(server.pipe_id()) {
    bytes answer = exchange_for(handshake(), handshake_answer().size());
    if (answer.empty()) {  // it came as its listener left
        static_cast<raw_client&>(*this) = raw_client(server.pipe_id());
        answer = exchange_for(handshake(), handshake_answer().size());
    }
    EXPECT_EQ(answer, handshake_answer());
}

bool has_symbol_binder() {
    constexpr auto key = L"CLSID\\{0A29FF9E-7F9C-4437-8B11-F424491E3931}\\InprocServer32";
    return RegGetValueW(HKEY_CLASSES_ROOT, key, nullptr, RRF_RT_ANY, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

}  // namespace qv::testing
