// Two-index container: values under a unique atom (an id) and under a slave key that is read from the value itself.
//
// Several atoms may map to values with one slave key. Every operation holds the container's own spin lock for its whole
// duration and no other lock, so any number of threads may call; values are shared pointers and are copied out.
#pragma once

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/identity.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index_container.hpp>
#include <mutex>
#include <utility>

#include "base/exception.h"
#include "base/thread.h"

namespace qv::profiler::detail {

// Traits supplies, for one kind of value:
//     key_hash                             hash of the slave key
//     static const Key& key(const Value&)  the slave key of a value that is not empty
//     insert_or_throw_signature            what an exception of insert_or_throw names as its function
template <class Atom, class Key, class Value, class Traits>
class base_slave_key_atom_map {
public:
    base_slave_key_atom_map() = default;
    base_slave_key_atom_map(const base_slave_key_atom_map&) = delete;
    base_slave_key_atom_map& operator=(const base_slave_key_atom_map&) = delete;

    // Throws qv::exception for an empty value and when the atom is taken.
    void insert_or_throw(const Atom& atom, const Value& value) {
        const throw_site here{Traits::insert_or_throw_signature, "core/src/Util/slave_key_atom_map"};
        if (!value) throw_error("Empty value", here);
        const std::lock_guard<spin_lock> lock(lock_);
        if (!elements_.insert(element{atom, value}).second) throw_error("Key is already exist", here);
    }

    // A copy of the value, or an empty one.
    Value find_atom(const Atom& atom) const {
        const std::lock_guard<spin_lock> lock(lock_);
        const auto found = elements_.find(atom);
        return found == elements_.end() ? Value() : found->value;
    }

    // A copy of the first value that carries this slave key, or an empty one.
    Value find_key(const Key& key) const {
        const std::lock_guard<spin_lock> lock(lock_);
        const auto& by_key = elements_.template get<1>();
        const auto found = by_key.find(key);
        return found == by_key.end() ? Value() : found->value;
    }

    // An absent atom is no error. The value is let go only after the lock: its destructor may take its time.
    void erase_atom(const Atom& atom) {
        Value last_owner;
        const std::lock_guard<spin_lock> lock(lock_);
        const auto found = elements_.find(atom);
        if (found == elements_.end()) return;
        last_owner = found->value;
        elements_.erase(found);
    }

    // Lets every value go, one after another: none under the lock, and without memory of its own, so that it can end
    // what ran out of memory.
    void clear() noexcept {
        for (Value last_owner;; last_owner = Value()) {
            const std::lock_guard<spin_lock> lock(lock_);
            if (elements_.empty()) return;
            last_owner = elements_.begin()->value;
            elements_.erase(elements_.begin());
        }
    }

protected:
    struct element {
        Atom atom;
        Value value;
    };

    struct key_of {
        using result_type = Key;
        const Key& operator()(const element& e) const { return Traits::key(e.value); }
    };

    // Ids are handed out one after another and hash as themselves.
    struct atom_hash {
        std::size_t operator()(const Atom& atom) const noexcept { return static_cast<std::size_t>(atom); }
    };

    using container = boost::multi_index_container<
        element,
        boost::multi_index::indexed_by<
            boost::multi_index::hashed_unique<boost::multi_index::member<element, Atom, &element::atom>, atom_hash>,
            boost::multi_index::hashed_non_unique<key_of, typename Traits::key_hash>>>;

    mutable spin_lock lock_;
    container elements_;
};

}  // namespace qv::profiler::detail

namespace qv::profiler {

// Adds handing out atoms: the first is 1, none is used twice, 0 means none.
template <class Atom, class Key, class Value, class Traits>
class slave_key_atom_map : public detail::base_slave_key_atom_map<Atom, Key, Value, Traits> {
public:
    // If a value with this key is there, `value` and `atom` become its own and the answer is false. Otherwise `value`,
    // which must carry this key, is entered under the next atom.
    bool insert_or_get(const Key& key, Value& value, Atom& atom) {
        const std::lock_guard<spin_lock> lock(this->lock_);
        const auto& by_key = this->elements_.template get<1>();
        if (const auto found = by_key.find(key); found != by_key.end()) {
            value = found->value;
            atom = found->atom;
            return false;
        }
        atom = last_atom_ + 1;
        this->elements_.insert({atom, value});
        last_atom_ = atom;
        return true;
    }

private:
    Atom last_atom_ = 0;
};

}  // namespace qv::profiler
