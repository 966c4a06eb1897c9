// The product's data folder before and after an attack. Nothing of the product's holds it in the test's own process.
#pragma once

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "base/handle.h"

namespace moorlak::adversary {

// A machine on which the product has never run: neither the data folder nor what was put aside of it.
struct FreshMachine : testing::Test {
  FreshMachine();
  ~FreshMachine() override;
};

// Makes the data folder and the log folder as somebody would who knows nothing of rights.
void MakeDataFolders();

// A file with this content, written over whatever file stands there.
void Plant(const std::wstring& path, std::string_view content);

bool Exists(const std::wstring& path);
bool IsFolder(const std::wstring& path);

// Gives files and folders to another user.
void GiveAway(std::initializer_list<std::wstring> paths);

// Opened by somebody who lets nobody delete or rename it until the handle is closed.
KernelHandle HoldInPlace(const std::wstring& folder);

// Opened by somebody who lets nobody else open it for anything that is shared.
KernelHandle HoldAlone(const std::wstring& folder);

// The whole content; empty when there is none.
std::string ContentOf(const std::wstring& path);

// Messages (without time and line end) of the tunnel log.
std::vector<std::string> LogMessages();

// Names in a folder that begin so, in order.
std::vector<std::wstring> NamesIn(const std::wstring& folder, std::wstring_view beginning);

}  // namespace moorlak::adversary
