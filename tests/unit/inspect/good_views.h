// A machine and an installation with which nothing is wrong: the service runs and no session does.
#pragma once

#include "inspect/machine_view.h"

namespace moorlak::inspect {

// "10.1.0.0", 16, "10.1.1.1".
inline Ipv4Route Route(std::string_view destination, uint32_t length, std::string_view nextHop) {
  return {{ParseStrictIpv4(destination).value(), length}, ParseStrictIpv4(nextHop).value()};
}

inline AdapterView PhysicalAdapter() {
  return {"Ethernet", "{1}", 100, 6, true, true, {"192.0.2.10/24", "fe80::1/64"}, {"192.0.2.53", "fe80::53"}, 25, 25};
}

inline AdapterView TunnelAdapter() {
  return {"Moorlak", "{6D6F6F72-6C61-4E01-9A11-4D6F6F726C61}", 200, kTypeVirtual, false, false, {}, {}, 5, 5};
}

inline ServiceView RunningService(const char* name) {
  return {name, ServiceRun::Running, 40, ServiceStart::Automatic, "LocalSystem", "\"C:\\Program Files\\M\\s.exe\"",
          true};
}

inline ProcessView ServiceProcess() {
  return {40, 4, "moorlak_service.exe", "C:\\M\\moorlak_service.exe"};
}

inline ProcessView Engine(uint32_t parent) {
  return {50, parent, "xray.exe", "C:\\M\\xray\\xray.exe"};
}

inline MachineView GoodMachine() {
  MachineView machine;
  machine.adapters = {PhysicalAdapter(), TunnelAdapter()};
  machine.routes = {{Route("0.0.0.0", 0, "192.0.2.1"), 100, 0}, {Route("192.0.2.0", 24, "0.0.0.0"), 100, 256}};
  machine.policies = {{"DisableSmartNameResolution", std::nullopt}, {"DisableParallelAandAAAA", std::nullopt}};
  machine.proxies = {{"S-1-5-21-1", true, "http=127.0.0.1:8080;https=proxy.example:443"}};
  machine.devices = {
      {"SWD\\Wintun\\{6D6F6F72-6C61-4E01-9A11-4D6F6F726C61}", "Moorlak Tunnel", "Moorlak Tunnel", "Moorlak", true}};
  machine.service = RunningService("MoorlakTunnel");
  machine.filteringEngine = RunningService("BFE");
  machine.processes = {ServiceProcess()};
  machine.listeningPorts = std::vector<uint16_t>{135, 8080};
  machine.fastStartup = 0;
  return machine;
}

inline InstallView GoodInstall() {
  InstallView install;
  install.folder = "C:\\Program Files\\M";
  install.files = {{"moorlak_service.exe", "C:\\M\\moorlak_service.exe", "1.0.0.0"},
                   {"xray.exe", "C:\\M\\xray\\xray.exe", ""},
                   {"tun2socks.exe", "C:\\M\\xray\\tun2socks.exe", "2.5.1.0"},
                   {"wintun.dll", "C:\\M\\xray\\wintun.dll", "0.14.1.0"}};
  install.dataFolder = "C:\\ProgramData\\M";
  install.dataFolderExists = true;
  return install;
}

}  // namespace moorlak::inspect
