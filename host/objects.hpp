// Objects of the registered types: reference counts, private data, properties, finalisers.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "host/host.hpp"
#include "host/tally.hpp"

namespace valtrosse::host {

class ObjectStore;
struct Object;

/// A registered type. The address of this record is the type handle that CreateObject is given.
struct ObjectType {
    struct Method {
        std::string name;
        vt_method handler;
    };

    ObjectStore& store;
    const vt_type_record& record;
    std::string name;
    std::vector<Method> methods;
    ObjectHandle value;  // the type value; its private data is the type handle

    /// Null for an unknown name.
    const Method* find_method(std::string_view method) const;
    bool has_property(std::uint32_t property) const;
};

/// An object, or the type value of a type. References are counted from 0: whoever creates an object
/// and wants to keep it adds the first one.
struct Object : vt_object {
    Object(ObjectStore& owner, ObjectType& described_type, bool is_value,
           std::uint32_t private_size);

    ObjectStore* store;  // null once the object has been finalised
    ObjectType& type;    // for a type value the type that it stands for
    const bool is_type_value;
    std::atomic<std::uint32_t> references{0};
    std::atomic<std::uint32_t> handles{0};  // those of the references that ObjectHandles have
    std::map<std::uint32_t, Outcome::Value> properties;

    /// Null when the type has no private data, and once the object has been finalised.
    void* private_data() { return data_ == nullptr ? nullptr : data_.get() + VT_PRIVATE_DATA; }
    void finalise(Tally& tally);

private:
    static void* data_at_offset(vt_object* self, std::uint32_t offset);
    void move_data();

    std::uint32_t data_size_;
    std::unique_ptr<std::byte[]> data_;
};

/// The types and all objects of a host. Once the types are registered, safe to use from several
/// threads.
class ObjectStore {
public:
    explicit ObjectStore(Tally& tally) : tally_(tally) {}
    /// Finalises all objects, also those that still have references. Objects that an ObjectHandle
    /// holds stay behind as empty shells until the handle goes.
    ~ObjectStore();
    ObjectStore(const ObjectStore&) = delete;
    ObjectStore& operator=(const ObjectStore&) = delete;

    /// Registers a type and makes its type value.
    void add_type(const vt_type_record& record, const std::string& name,
                  std::vector<ObjectType::Method> methods);
    const std::deque<ObjectType>& types() const { return types_; }
    /// Null for an unknown name.
    ObjectType* find_type(std::string_view name);

    /// A new object without references; its private data is zeroed, and initialised by the type.
    Object* create(ObjectType& type);
    /// Finalises and deletes an object that has no references left.
    void destroy(Object& object);

private:
    Object* add(std::unique_ptr<Object> object);

    Tally& tally_;
    std::mutex mutex_;
    std::unordered_set<Object*> objects_;
    std::deque<ObjectType> types_;  // a type handle is an address in here
};

}  // namespace valtrosse::host
