// The options of the library, as SymbolServerSetOptions sets them (dbghelp, "SSRVOPT_*").
//
// A plain value without a lock. Every option holds the 64-bit value that was given with it; one that was never set, or
// was set to zero, is off.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace qv::symbol_store {

namespace option {
enum bit : std::uint64_t {
    callback = 0x1,  // a function that takes narrow text

    // How the first id of a search is passed: as a number, by pointer to a number, by pointer to a GUID. The last one
    // is reserved by its publisher and taken as a pointer to a GUID too.
    id_is_dword = 0x2,
    id_is_dword_pointer = 0x4,
    id_is_guid_pointer = 0x8,
    id_is_old_guid_pointer = 0x10,

    unattended = 0x20,          // show no dialogs: this library has none
    no_copy = 0x40,             // answer files where they lie
    parent_window = 0x80,       // of dialogs: likewise only kept
    parameter_type = 0x100,     // the value is one of the id options above
    trace = 0x400,              // tell the callback what is looked at
    callback_context = 0x800,   // handed to the callback
    downstream_store = 0x2000,  // text: the default store
    wide_callback = 0x10000,    // a function that takes wide text
};
constexpr std::uint64_t reset = ~std::uint64_t{0};
}  // namespace option

enum class id_kind { dword, dword_pointer, guid_pointer };

enum class set_outcome {
    done,
    unsupported,  // an option that this library does not have
    misused,      // options that exclude one another, or a value that is none of theirs
};

class option_values {
public:
    // Sets several options that are switches to one value, or one option of another kind, or resets all of them. Only
    // `done` changes anything. `text` is what `value` points to where the option takes a text.
    set_outcome set(std::uint64_t options, std::uint64_t value, const std::wstring& text = {});

    // Removes the callback with its context.
    void forget_callback();

    // All options that are on. The kind of the id is on only where it was set.
    std::uint64_t bits() const;

    // The value of one supported option, zero where it is off; empty for anything else.
    std::optional<std::uint64_t> value(std::uint64_t option) const;

    bool is_on(option::bit option) const { return values_.count(option) != 0; }

    // A number unless set otherwise, as that never makes a pointer of a value.
    id_kind kind_of_id() const;

    // Empty where none was set.
    const std::wstring& default_store() const noexcept { return default_store_; }

private:
    std::map<std::uint64_t, std::uint64_t> values_;
    std::wstring default_store_;
};

// The pointer that an option was given as its value: the published interface passes pointers as integers.
template <class Pointer>
Pointer as_pointer(std::uint64_t value) noexcept {
    return reinterpret_cast<Pointer>(static_cast<std::uintptr_t>(value));  // NOLINT(performance-no-int-to-ptr)
}

// True where the value of these options points to a text.
bool takes_text(std::uint64_t options) noexcept;

}  // namespace qv::symbol_store
