#include "bench/faults/program_calls.h"

// after <windows.h>
#include <objbase.h>
#include <process.h>

namespace qv::bench {
namespace {

using texts = std::set<std::string>;

constexpr int each_one = 100;  // until it is called no more

template <class Signature, moment When = moment::before>
program_call failing(const char* name, texts told, int turns = each_one, result_of<Signature> failure = {}) {
    return {name, [=] { return failing_call<Signature, When>::replace(name, failure); }, std::move(told), turns};
}

// With the code that failing_call leaves, or answers.
std::string win32(const char* text) {
    return std::string(text) + " (Win32 error 1450";
}
std::string hresult(const char* text) {
    return std::string(text) + " (COM error 8007000e";
}

program_call told_in_log(program_call call, const char* text) {
    call.in_log = text;
    return call;
}

program_call in_life(life when, program_call call) {
    call.when = when;
    return call;
}

// The call is made only where another one has answered so: the `turn`th of those, which leaves error 8 if it fails.
template <class Signature>
program_call where(const char* other, int turn, result_of<Signature> answer, program_call call) {
    struct holder {
        test::failing_call<Signature> other;
        std::shared_ptr<void> call;
    };
    const auto replace = call.replace;
    call.replace = [=] {
        return std::shared_ptr<void>(new holder{test::failing_call<Signature>(other, turn, answer), replace()});
    };
    return call;
}

const std::string no_module = "Invalid MVID for the absolute module path is detected";

void add_start(std::vector<program_call>& all) {
    const auto add = [&](program_call call) { all.push_back(std::move(call)); };
    // The log's head tells what the system tells, and goes on without the rest.
    add(told_in_log(failing<decltype(OpenProcessToken)>("OpenProcessToken", {}), " Integrity=Unknown "));
    add(told_in_log(failing<decltype(GetTokenInformation)>("GetTokenInformation", {}), " Integrity=Unknown "));
    add(told_in_log(failing<decltype(GetUserNameW)>("GetUserNameW", {}), " UserName=''"));
    add(told_in_log(failing<decltype(GetComputerNameW)>("GetComputerNameW", {}), " ComputerName='' "));
    add(told_in_log(failing<decltype(GetProductInfo)>("GetProductInfo", {}), " VistaProductType=00000000"));
    for (auto call : {failing<decltype(FileTimeToSystemTime)>("FileTimeToSystemTime", {}),
                      failing<decltype(SystemTimeToTzSpecificLocalTime)>("SystemTimeToTzSpecificLocalTime", {}),
                      failing<decltype(SystemTimeToFileTime)>("SystemTimeToFileTime", {})})
        add(told_in_log(std::move(call), "+00:00 "));
    add(failing<decltype(GetModuleHandleW)>("GetModuleHandleW", {}));
    add(failing<decltype(GetFinalPathNameByHandleW)>("GetFinalPathNameByHandleW", {}));
    add(where<decltype(GetFinalPathNameByHandleW)>("GetFinalPathNameByHandleW", 1, 0,
                                                   failing<decltype(GetFullPathNameW)>("GetFullPathNameW", {})));
    add(where<decltype(WriteFile)>("WriteFile", 8, FALSE,
                                   failing<decltype(SetFileInformationByHandle)>("SetFileInformationByHandle", {})));

    add(failing<decltype(GetStdHandle)>("GetStdHandle", {}, each_one, INVALID_HANDLE_VALUE));
    add(failing<decltype(GetConsoleMode)>("GetConsoleMode", {}));
    for (auto call : {failing<decltype(WriteConsoleW)>("WriteConsoleW", {}),
                      failing<decltype(MultiByteToWideChar)>("MultiByteToWideChar", {})})
        add(where<decltype(GetConsoleMode)>("GetConsoleMode", 1, TRUE, std::move(call)));
    add(failing<decltype(SetConsoleCtrlHandler)>("SetConsoleCtrlHandler", {win32("Can't add control handler")}));
    add(failing<decltype(OpenEventW)>("OpenEventW", {win32("Can't create event"), win32("Can't set event")}));

    add(failing<decltype(LoadLibraryExW)>("LoadLibraryExW", {}));
    add(failing<decltype(LoadLibraryW)>("LoadLibraryW", {win32("Symbol server wasn't loaded")}));
    add(failing<decltype(GetProcAddress)>("GetProcAddress", {}));
    add(failing<decltype(GetModuleFileNameW)>("GetModuleFileNameW", {win32("Can't get module file name")}));
}

void add_pipe(std::vector<program_call>& all) {
    const auto add = [&](program_call call) { all.push_back(std::move(call)); };
    const std::string no_pipe = win32("Can't create pipe");
    add(failing<decltype(CreateEventW)>("CreateEventW", {win32("Can't create event"), no_pipe}));
    add(in_life(life::unread, failing<decltype(SetEvent)>("SetEvent", {win32("Can't set event")}, 6)));
    add(failing<decltype(ResetEvent)>("ResetEvent", {}, 8));
    add(failing<decltype(CreateNamedPipeW)>("CreateNamedPipeW", {no_pipe}, each_one, INVALID_HANDLE_VALUE));
    add(failing<decltype(GetNamedPipeHandleStateW)>("GetNamedPipeHandleStateW", {no_pipe}));
    add(failing<decltype(ConnectNamedPipe)>("ConnectNamedPipe", {}, 6));
    add(failing<decltype(GetOverlappedResult), moment::after>("GetOverlappedResult", {}, 12));
    add(in_life(life::searching, failing<decltype(PeekNamedPipe)>("PeekNamedPipe", {}, 3)));
    add(failing<decltype(CancelIo)>("CancelIo", {}, 6));
    add(in_life(life::unread, failing<decltype(CancelSynchronousIo)>("CancelSynchronousIo", {}, 3)));
    add(failing<decltype(FlushFileBuffers)>("FlushFileBuffers", {}));
    add(failing<decltype(DisconnectNamedPipe)>("DisconnectNamedPipe", {}));
    add(failing<decltype(WaitForMultipleObjects)>("WaitForMultipleObjects", {}, 6, WAIT_FAILED));
    add(failing<decltype(WaitForSingleObject)>("WaitForSingleObject", {}, 24, WAIT_FAILED));
    add(failing<decltype(OpenThread)>("OpenThread", {}));
    add(failing<decltype(RegisterWaitForSingleObject)>("RegisterWaitForSingleObject", {}));
    add(failing<decltype(UnregisterWaitEx)>("UnregisterWaitEx", {}, 2));
    add(failing<decltype(_beginthreadex)>("_beginthreadex", {"Can't create thread"}));
    add(failing<decltype(CoInitializeEx)>("CoInitializeEx", {hresult("Can't initialize COM")}, each_one,
                                          E_OUTOFMEMORY));
}

// For the first instance of the pipe: the further ones are made alike.
void add_security(std::vector<program_call>& all) {
    const auto add = [&](program_call call) { all.push_back(std::move(call)); };
    add(failing<decltype(AllocateAndInitializeSid)>(
        "AllocateAndInitializeSid",
        {win32("Can't create BUILTIN_ADMINISTRATORS group SID"), win32("Can't create LOCAL_SYSTEM user SID"),
         win32("Can't create ANONYMOUS group SID"), win32("Can't create ALL_APP_PACKAGES group SID"),
         win32("Can't create EVERYONE group SID"), win32("Can't create CREATOR_OWNER user SID"),
         win32("Can't create LOW_MANDATORY_LEVEL group SID")},
        7));
    add(failing<decltype(LocalAlloc)>(
        "LocalAlloc",
        {win32("Can't alloc DACL buffer"), win32("Can't alloc SACL buffer"), "Can't allocate security descriptor"}, 3));
    add(failing<decltype(InitializeAcl)>("InitializeAcl",
                                         {win32("Can't initialize DACL"), win32("Can't initialize SACL")}, 2));
    add(failing<decltype(AddAccessAllowedAce)>(
        "AddAccessAllowedAce",
        {win32("Can't add BUILTIN_ADMINISTRATORS in DACL"), win32("Can't add LOCAL_SYSTEM in DACL"),
         win32("Can't add CREATOR_OWNER in DACL"), win32("Can't add EVERYONE in DACL"),
         win32("Can't add ANONYMOUS in DACL"), win32("Can't add ALL_APP_PACKAGES in DACL")},
        6));
    add(failing<decltype(AddMandatoryAce)>("AddMandatoryAce", {win32("Can't add LOW_MANDATORY_LEVEL to SACL")}, 1));
    add(failing<decltype(InitializeSecurityDescriptor)>("InitializeSecurityDescriptor",
                                                        {win32("Can't initialize security descriptor")}, 1));
    add(failing<decltype(SetSecurityDescriptorDacl)>("SetSecurityDescriptorDacl",
                                                     {win32("Can't set DACL to security descriptor")}, 1));
    add(failing<decltype(SetSecurityDescriptorSacl)>("SetSecurityDescriptorSacl",
                                                     {win32("Can't set SACL to security descriptor")}, 1));
}

void add_conversation(std::vector<program_call>& all) {
    const auto add = [&](program_call call) { all.push_back(std::move(call)); };
    const std::string unopened = win32("Can't open file"), no_file = "Can't open file (Win32 error 50";
    add(failing<decltype(CreateFileW)>(
        "CreateFileW", {win32("Can't create file"), "Symbol server path doesn't exist", unopened, no_module}, each_one,
        INVALID_HANDLE_VALUE));
    add(failing<decltype(GetFileType)>("GetFileType", {"Can't create file (Win32 error 50", no_file, no_module},
                                       each_one, FILE_TYPE_UNKNOWN));
    add(failing<decltype(GetFileSizeEx)>("GetFileSizeEx", {win32("Can't get file size")}));
    add(failing<decltype(ReadFile)>("ReadFile", {win32("Can't read file")}, 24));
    add(failing<decltype(WriteFile)>("WriteFile", {}, 40));
    add(where<decltype(GetFileSizeEx)>(
        "GetFileSizeEx", 1, FALSE,
        failing<decltype(FormatMessageA)>("FormatMessageA", {"Can't get file size (Win32 error 8"})));
    add(failing<decltype(GetEnvironmentVariableW)>("GetEnvironmentVariableW",
                                                   {"Failed to get environment variable (COM error 800705aa"}));
    add(failing<decltype(GetDriveTypeW)>("GetDriveTypeW", {"The module path is not allowed"}));
    // Held in a source that the program shares with the libraries.
    constexpr int never = 0;
    add(failing<decltype(GetFileInformationByHandle)>("GetFileInformationByHandle", {}, never));
    add(failing<decltype(MoveFileExW)>("MoveFileExW", {}, never));
    add(failing<decltype(CoCreateInstance)>(
        "CoCreateInstance", {hresult("Can't create symbol binder"), hresult("Can't create metadata dispenser")},
        each_one, E_OUTOFMEMORY));
}

}  // namespace

std::vector<program_call> program_calls() {
    std::vector<program_call> all;
    add_start(all);
    add_pipe(all);
    add_security(all);
    add_conversation(all);
    return all;
}

}  // namespace qv::bench
