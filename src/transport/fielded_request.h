#pragma once
// zov::FieldedRequest: a request whose own fields are told by two tables, in the order of the wire. From them
// come its keys, behind those of ZOVRequest, and all access by key; other keys go to ZOVRequest.
//
//   class ZOVSomeRequest : public zov::FieldedRequest<ZOVSomeRequest, ZOVRequest::SomeType> {
//     friend FieldedRequest;
//     static std::span<const NumericField> numericFields();   // { numeric<&ZOVSomeRequest::_count>(CountKey)
//     } static std::span<const TextField> textFields();         // { {NameKey, &ZOVSomeRequest::_name} }
//     ...
//
// A family of requests that share fields has a base between, which answers for those.

#include <algorithm>
#include <span>

#include "transport/request.h"

namespace zov {

template <class Class, ZOVRequest::_RequestType Type, class Base = ZOVRequest>
class FieldedRequest : public Base {
 public:
  using Base::Base;

  int getRequestType() const override { return Type; }
  ZOVRequest* clone() const override { return new Class(self()); }

  int getNumNumericKeys() const override {
    return Base::getNumNumericKeys() + static_cast<int>(Class::numericFields().size());
  }
  void numericKeys(int* out) const override {
    Base::numericKeys(out);
    std::ranges::transform(Class::numericFields(), out + Base::getNumNumericKeys(), &NumericField::key);
  }
  void saveNumericData(int key, long long value) override {
    if (const NumericField* field = find(Class::numericFields(), key)) {
      field->set(static_cast<Class&>(*this), value);
    } else {
      Base::saveNumericData(key, value);
    }
  }
  long long getNumericData(int key) const override {
    const NumericField* field = find(Class::numericFields(), key);
    return field ? field->get(self()) : Base::getNumericData(key);
  }

  int getNumStringKeys() const override { return static_cast<int>(Class::textFields().size()); }
  void stringKeys(int* out) const override {
    std::ranges::transform(Class::textFields(), out, &TextField::key);
  }
  void saveStringData(int key, std::string_view text) override {
    if (const TextField* field = find(Class::textFields(), key)) {
      static_cast<Class&>(*this).*field->member = RWCString(text);
    }
  }
  const RWCString& getStringData(int key) const override {
    const TextField* field = find(Class::textFields(), key);
    return field ? self().*field->member : Base::emptyText();
  }

 protected:
  /// What copyFields does with a field.
  enum Copying : bool { Copied, NotCopied };
  struct NumericField {
    int key;
    long long (*get)(const Class&);
    void (*set)(Class&, long long);
    Copying copying = Copied;
  };
  struct TextField {
    int key;
    RWCString Class::*member;
    Copying copying = Copied;
  };

  /// A field kept in `Member`, of whatever integer type; values are cut to its width.
  template <auto Member>
  static constexpr NumericField numeric(int key, Copying copying = Copied) {
    return {key, [](const Class& object) { return static_cast<long long>(object.*Member); },
            [](Class& object, long long value) {
              object.*Member = static_cast<std::remove_reference_t<decltype(object.*Member)>>(value);
            },
            copying};
  }
  /// A key that is known and not kept: it reads as 0, and what is received for it is dropped.
  static constexpr NumericField notKept(int key) {
    return {key, [](const Class&) { return 0LL; }, [](Class&, long long) {}};
  }

  /// For the copying of a class of which a copy is reduced: the base part, and the fields that are copied.
  Class& copyFields(const Class& other) {
    Class& copy = static_cast<Class&>(*this);
    Base::operator=(other);
    for (const NumericField& field : Class::numericFields()) {
      if (field.copying == Copied) field.set(copy, field.get(other));
    }
    for (const TextField& field : Class::textFields()) {
      if (field.copying == Copied) copy.*field.member = other.*field.member;
    }
    return copy;
  }

 private:
  template <class Field>
  static const Field* find(std::span<const Field> fields, int key) {
    const auto found = std::ranges::find(fields, key, &Field::key);
    return found == fields.end() ? nullptr : &*found;
  }
  const Class& self() const { return static_cast<const Class&>(*this); }
};

}  // namespace zov
