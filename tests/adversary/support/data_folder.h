// The product's data folder before and after an attack. In the test's own process the product's code holds no handle to
// it.
#pragma once

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "base/handle.h"

namespace moorlak::adversary {

// A machine on which the product has never run: there is neither the data folder nor anything put aside from it.
struct FreshMachine : testing::Test {
  FreshMachine();
  ~FreshMachine() override;
};

// Creates the data folder and the log folder without any access rules.
void MakeDataFolders();

// Writes a file with this content, over an existing file if there is one.
void Plant(const std::wstring& path, std::string_view content);

bool Exists(const std::wstring& path);
bool IsFolder(const std::wstring& path);

// Gives files and folders to another user.
void ChangeOwnerToUser(std::initializer_list<std::wstring> paths);

// Sets the access list of a file or folder. Wine keeps only what its owner and what everybody else may do.
bool GiveRights(const std::wstring& path, const std::wstring& sddl);

// Opened by somebody who lets nobody delete or rename it until the handle is closed.
KernelHandle HoldInPlace(const std::wstring& folder);

// Opens the folder without sharing.
KernelHandle HoldAlone(const std::wstring& folder);

// The whole content; empty if there is no file.
std::string ContentOf(const std::wstring& path);

// Messages of the tunnel log, without time and line end.
std::vector<std::string> LogMessages();

// Sorted names in a folder that begin with that text.
std::vector<std::wstring> NamesIn(const std::wstring& folder, std::wstring_view beginning);

}  // namespace moorlak::adversary
