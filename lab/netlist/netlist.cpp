// Stand-in for the network list manager: an in-process COM server. A list of networks is a snapshot; a network object
// reads the machine at each call.
#include <windows.h>

#include <netlistmgr.h>
#include <oleauto.h>
#include <string>
#include <vector>

#include "base/utf.h"
#include "machine/machine.h"
#include "netlist/com_object.h"
#include "netlist/networks.h"

namespace moorlak::lab {
namespace {

// "INetworkListManager interface" of Microsoft Learn.
constexpr GUID kManagerClass = {0xdcb00c01, 0x570f, 0x4a9b, {0x8d, 0x69, 0x19, 0x9f, 0xdb, 0xa5, 0x72, 0x3b}};

HRESULT Result(uint32_t bits) {
  return static_cast<HRESULT>(bits);
}

class NetworkObject final : public AutomationObject<INetwork> {
 public:
  explicit NetworkObject(std::string networkId) : id(std::move(networkId)) {}

  HRESULT STDMETHODCALLTYPE GetName(BSTR* name) noexcept override {
    if (name == nullptr) return E_POINTER;
    *name = nullptr;
    std::string text;
    const HRESULT result = Result(RunCall({"INetwork::GetName", id},
                                          [&](const MachineState& state) { return ReadNetworkName(state, id, text); }));
    if (FAILED(result)) return result;
    *name = SysAllocString(moorlak::WidenUtf8(text).c_str());
    return *name == nullptr ? E_OUTOFMEMORY : S_OK;
  }

  HRESULT STDMETHODCALLTYPE SetName(BSTR name) noexcept override {
    const std::string text =
        name == nullptr ? std::string() : moorlak::NarrowUtf16(std::wstring_view(name, SysStringLen(name)));
    return Result(RunCall({"INetwork::SetName", id + " " + text},
                          [&](MachineState& state) { return RenameNetwork(state, id, text); }));
  }

  HRESULT STDMETHODCALLTYPE GetDescription(BSTR* /*text*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetDescription(BSTR /*text*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetNetworkId(GUID* /*networkId*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetDomainType(NLM_DOMAIN_TYPE* /*type*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetNetworkConnections(IEnumNetworkConnections** /*connections*/) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetTimeCreatedAndConnected(DWORD* /*createdLow*/, DWORD* /*createdHigh*/,
                                                       DWORD* /*connectedLow*/,
                                                       DWORD* /*connectedHigh*/) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE get_IsConnectedToInternet(VARIANT_BOOL* /*connected*/) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE get_IsConnected(VARIANT_BOOL* /*connected*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetConnectivity(NLM_CONNECTIVITY* /*connectivity*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetCategory(NLM_NETWORK_CATEGORY* /*category*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetCategory(NLM_NETWORK_CATEGORY /*category*/) noexcept override { return E_NOTIMPL; }

 private:
  std::string id;
};

// For one thread at a time, as usual for an enumerator.
class NetworkList final : public AutomationObject<IEnumNetworks> {
 public:
  explicit NetworkList(std::vector<std::string> networkIds) : ids(std::move(networkIds)) {}

  HRESULT STDMETHODCALLTYPE get__NewEnum(IEnumVARIANT** /*list*/) noexcept override { return E_NOTIMPL; }

  HRESULT STDMETHODCALLTYPE Next(ULONG count, INetwork** networks, ULONG* fetched) noexcept override {
    if (networks == nullptr || (fetched == nullptr && count != 1)) return E_POINTER;
    if (fetched != nullptr) *fetched = 0;
    const uint32_t error = RunCall({"IEnumNetworks::Next", std::to_string(count)}, [](MachineState&) { return 0U; });
    if (error != 0) return Result(error);
    ULONG given = 0;
    while (given < count && position < ids.size()) networks[given++] = new NetworkObject(ids[position++]);
    if (fetched != nullptr) *fetched = given;
    return given == count ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE Skip(ULONG /*count*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Reset() noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(IEnumNetworks** /*copy*/) noexcept override { return E_NOTIMPL; }

 private:
  std::vector<std::string> ids;
  size_t position = 0;
};

class ManagerObject final : public AutomationObject<INetworkListManager> {
 public:
  HRESULT STDMETHODCALLTYPE GetNetworks(NLM_ENUM_NETWORK flags, IEnumNetworks** networks) noexcept override {
    if (networks == nullptr) return E_POINTER;
    *networks = nullptr;
    std::vector<std::string> ids;
    const uint32_t error =
        RunCall({"INetworkListManager::GetNetworks", std::to_string(flags)},
                [&](MachineState& state) { return EnumerateNetworks(state, static_cast<uint32_t>(flags), ids); });
    if (error != 0) return Result(error);
    *networks = new NetworkList(std::move(ids));
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetNetwork(GUID /*networkId*/, INetwork** /*network*/) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetNetworkConnections(IEnumNetworkConnections** /*connections*/) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetNetworkConnection(GUID /*connectionId*/,
                                                 INetworkConnection** /*connection*/) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE IsConnectedToInternet(VARIANT_BOOL* /*connected*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsConnected(VARIANT_BOOL* /*connected*/) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetConnectivity(NLM_CONNECTIVITY* /*connectivity*/) noexcept override { return E_NOTIMPL; }
};

class ManagerFactory final : public CountedObject<IClassFactory> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    return Answer(id == __uuidof(IUnknown) || id == __uuidof(IClassFactory), object);
  }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    const uint32_t error = RunCall({"NetworkListManager::CreateInstance", ""}, [](MachineState&) { return 0U; });
    if (error != 0) return Result(error);
    auto* manager = new ManagerObject;
    const HRESULT result = manager->QueryInterface(id, object);
    manager->Release();
    return result;
  }

  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept override {
    liveObjects += lock != FALSE ? 1 : -1;
    return S_OK;
  }
};

}  // namespace
}  // namespace moorlak::lab

using namespace moorlak::lab;

extern "C" {

HRESULT WINAPI LabDllGetClassObject(REFCLSID classId, REFIID id, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (!(classId == kManagerClass)) return CLASS_E_CLASSNOTAVAILABLE;
  auto* factory = new ManagerFactory;
  const HRESULT result = factory->QueryInterface(id, object);
  factory->Release();
  return result;
}

HRESULT WINAPI LabDllCanUnloadNow() noexcept {
  return liveObjects == 0 ? S_OK : S_FALSE;
}

}  // extern "C"
