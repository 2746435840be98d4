#include "host/objects.hpp"

#include <algorithm>
#include <cstring>
#include <new>

#include "host/api.hpp"
#include "host/call.hpp"
#include "host/contract.hpp"
#include "host/values.hpp"

namespace valtrosse::host {

namespace {

void add_reference(Object& object) { ++object.references; }

void release(Object& object) {
    switch (object.references.fetch_sub(1)) {
        case 0: contract_broken("an object without references was released");
        case 1: break;
        default: return;
    }
    if (object.store != nullptr) {
        object.store->destroy(object);
    } else {
        delete &object;
    }
}

/// The type information of every type value, and of every other object: the library looks at the
/// kind alone.
vt_type_kind type_value_kind{{}, VT_TYPE};
vt_type_kind instance_kind{{}, 0x20001};
vt_type_info type_value_info{{}, &type_value_kind};
vt_type_info instance_info{{}, &instance_kind};

}  // namespace

// ---- ObjectHandle -------------------------------------------------------------------------------

ObjectHandle::ObjectHandle(vt_object* object) : object_(object) {
    if (object_ == nullptr) return;
    add_reference(*static_cast<Object*>(object_));
    ++static_cast<Object*>(object_)->handles;
}

ObjectHandle::ObjectHandle(const ObjectHandle& other) : ObjectHandle(other.object_) {}

ObjectHandle::~ObjectHandle() {
    if (object_ == nullptr) return;
    --static_cast<Object*>(object_)->handles;
    release(*static_cast<Object*>(object_));
}

// ---- Types and objects --------------------------------------------------------------------------

const ObjectType::Method* ObjectType::find_method(std::string_view method) const {
    const auto found = std::find_if(methods.begin(), methods.end(),
                                    [&](const Method& m) { return m.name == method; });
    return found == methods.end() ? nullptr : &*found;
}

bool ObjectType::has_property(std::uint32_t property) const {
    return std::any_of(record.properties, record.properties + record.property_count,
                       [&](const vt_property_record& p) { return p.name == property; });
}

Object::Object(ObjectStore& owner, ObjectType& described_type, bool is_value,
               std::uint32_t private_size)
    : vt_object{{}, data_at_offset},
      store(&owner),
      type(described_type),
      is_type_value(is_value),
      data_size_(private_size == 0 ? 0 : VT_PRIVATE_DATA + private_size),
      data_(data_size_ == 0 ? nullptr : new std::byte[data_size_]()) {}

void* Object::data_at_offset(vt_object* self, std::uint32_t offset) {
    auto& object = *static_cast<Object*>(self);
    if (object.data_ == nullptr || offset >= object.data_size_) return nullptr;
    if (injected_fault(&Faults::move_data) != 0) object.move_data();
    return object.data_.get() + offset;
}

void Object::move_data() {
    auto moved = std::make_unique<std::byte[]>(data_size_);
    std::copy_n(data_.get(), data_size_, moved.get());
    data_ = std::move(moved);
}

void Object::finalise(Tally& tally) {
    if (!is_type_value) {
        if (data_ != nullptr && type.record.term != nullptr) type.record.term(private_data());
        --tally.live_objects;
    }
    data_.reset();
    properties.clear();
    store = nullptr;
}

ObjectStore::~ObjectStore() {
    // A finaliser may release further objects, so the set is looked at afresh each time.
    while (!objects_.empty()) {
        Object* object = *objects_.begin();
        objects_.erase(objects_.begin());
        object->finalise(tally_);
        object->references = object->handles.load();
        if (object->references == 0) delete object;
    }
}

Object* ObjectStore::add(std::unique_ptr<Object> object) {
    const std::scoped_lock lock(mutex_);
    objects_.insert(object.get());
    return object.release();
}

Object* ObjectStore::create(ObjectType& type) {
    Object* object = add(std::make_unique<Object>(*this, type, false, type.record.private_size));
    ++tally_.live_objects;
    if (type.record.init != nullptr && object->private_data() != nullptr) {
        type.record.init(object->private_data());
    }
    return object;
}

void ObjectStore::add_type(const vt_type_record& record, const std::string& name,
                           std::vector<ObjectType::Method> methods) {
    ObjectType& type =
        types_.emplace_back(ObjectType{*this, record, name, std::move(methods), ObjectHandle()});
    const ObjectType* handle = &type;
    Object* value = add(std::make_unique<Object>(*this, type, true, sizeof(handle)));
    std::memcpy(value->private_data(), &handle, sizeof(handle));
    type.value = ObjectHandle(value);
}

ObjectType* ObjectStore::find_type(std::string_view name) {
    const auto found = std::find_if(types_.begin(), types_.end(),
                                    [&](const ObjectType& type) { return type.name == name; });
    return found == types_.end() ? nullptr : &*found;
}

void ObjectStore::destroy(Object& object) {
    {
        const std::scoped_lock lock(mutex_);
        objects_.erase(&object);
    }
    object.finalise(tally_);
    delete &object;
}

// ---- Host functions -----------------------------------------------------------------------------

namespace api {

vt_status create_object(void* type_handle, vt_object_reference* created) noexcept {
    auto* type = static_cast<ObjectType*>(type_handle);
    if (type == nullptr) return VT_NOT_A_TYPE;
    try {
        *created = {type->store.create(*type), 0};
        return VT_OK;
    } catch (const std::bad_alloc&) {
        return VT_OUT_OF_MEMORY;
    }
}

void add_object_reference(vt_object* object) noexcept {
    add_reference(*static_cast<Object*>(object));
}

void release_object(vt_object* object) noexcept { release(*static_cast<Object*>(object)); }

vt_type_info* get_object_type_info(vt_object_reference* reference) noexcept {
    if (reference->object == nullptr) return nullptr;
    return static_cast<Object*>(reference->object)->is_type_value ? &type_value_info
                                                                  : &instance_info;
}

vt_status set_object_property(vt_object* object, std::uint32_t, std::uint32_t property,
                              std::uint32_t kind, vt_value* value, std::uint16_t) noexcept {
    auto& owner = *static_cast<Object*>(object);
    if (!owner.type.has_property(property)) return VT_HOST_NO_SUCH_PROPERTY;
    try {
        Outcome::Value taken;
        if (!take_value(kind, *value, taken)) return VT_HOST_WRONG_VALUE;
        owner.properties[property] = std::move(taken);
        return VT_OK;
    } catch (const std::bad_alloc&) {
        return VT_OUT_OF_MEMORY;
    }
}

}  // namespace api

}  // namespace valtrosse::host
