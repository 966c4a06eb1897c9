// What every COM object of the stand-in has: identity, a reference count, and the automation methods, which are not
// used here.
#pragma once

#include <windows.h>

#include <atomic>
#include <oaidl.h>

namespace moorlak::lab {

// Number of live objects and server locks; the DLL may be unloaded when it is 0.
inline std::atomic<long> liveObjects{0};

// COM interfaces have no virtual destructor, and no object is destroyed through one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Interface must derive from IUnknown. A new object has one reference.
template <typename Interface>
class CountedObject : public Interface {
 public:
  CountedObject() noexcept { ++liveObjects; }
  CountedObject(const CountedObject&) = delete;
  CountedObject& operator=(const CountedObject&) = delete;

  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override {
    const ULONG left = --references;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~CountedObject() { --liveObjects; }

  HRESULT Answer(bool supported, void** object) noexcept {
    if (object == nullptr) return E_POINTER;
    *object = supported ? static_cast<Interface*>(this) : nullptr;
    if (!supported) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }

 private:
  std::atomic<ULONG> references{1};
};

// Interface must derive from IDispatch.
template <typename Interface>
class AutomationObject : public CountedObject<Interface> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    return this->Answer(id == __uuidof(IUnknown) || id == __uuidof(IDispatch) || id == __uuidof(Interface), object);
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* /*count*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT /*index*/, LCID /*locale*/, ITypeInfo** /*info*/) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID /*reserved*/, LPOLESTR* /*names*/, UINT /*count*/, LCID /*locale*/,
                                          DISPID* /*ids*/) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID /*member*/, REFIID /*reserved*/, LCID /*locale*/, WORD /*flags*/,
                                   DISPPARAMS* /*arguments*/, VARIANT* /*result*/, EXCEPINFO* /*exception*/,
                                   UINT* /*wrong*/) noexcept override {
    return E_NOTIMPL;
  }
};

#pragma GCC diagnostic pop

}  // namespace moorlak::lab
