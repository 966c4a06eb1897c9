#include "config/bypass_executables.h"

#include <gtest/gtest.h>
#include <map>

namespace moorlak {
namespace {

using Texts = std::vector<std::string>;

// Folders with their executables, and which folders were requested.
struct Disk {
  std::map<std::string, Texts> folders;
  Texts asked;
  size_t shown = 0;

  Texts Collect(const Texts& blockedApps) {
    return CollectBypassExecutables(blockedApps, [this](const std::string& folder, const ExecutableVisitor& visit) {
      asked.push_back(folder);
      for (const std::string& name : folders[folder]) {
        ++shown;
        if (!visit(name)) return;
      }
    });
  }
};

Texts Numbered(size_t count) {
  Texts names;
  for (size_t i = 0; i < count; ++i) names.push_back("tool" + std::to_string(i) + ".exe");
  return names;
}

TEST(BypassExecutables, ABareNameIsTakenAloneInLowerCase) {
  Disk disk;
  EXPECT_EQ(disk.Collect({"My-App.EXE"}), Texts{"my-app.exe"});
  EXPECT_EQ(disk.asked, Texts{});
}

TEST(BypassExecutables, EveryKnownProgramBringsItsCompanions) {
  const std::pair<const char*, Texts> groups[] = {
      {"firefox.exe", {"firefox.exe", "plugin-container.exe"}},
      {"msedge.exe", {"msedge.exe", "msedge_proxy.exe", "msedgewebview2.exe"}},
      {"chrome.exe", {"chrome.exe", "chrome_proxy.exe", "chrome_pwa_launcher.exe"}},
      {"brave.exe", {"brave.exe", "brave_proxy.exe"}},
      {"opera.exe", {"opera.exe"}},
      {"vivaldi.exe", {"vivaldi.exe"}},
      {"discord.exe", {"discord.exe", "discordptb.exe", "discordcanary.exe"}},
      {"steam.exe", {"steam.exe", "steamwebhelper.exe"}},
      {"whatsapp.exe", {"whatsapp.exe"}},
      {"telegram.exe", {"telegram.exe"}},
      {"spotify.exe", {"spotify.exe"}},
  };
  for (const auto& [key, group] : groups) EXPECT_EQ(Disk().Collect({key}), group) << key;
  EXPECT_EQ(Disk().Collect({R"(C:\Mozilla\FireFox.exe)"}), (Texts{"firefox.exe", "plugin-container.exe"}));
  // A companion is not a key.
  EXPECT_EQ(Disk().Collect({"msedge_proxy.exe"}), Texts{"msedge_proxy.exe"});
}

TEST(BypassExecutables, ANameIsAddedOnce) {
  Disk disk{{{R"(C:\a)", {"CHROME.exe", "other.exe", "Other.EXE"}}}, {}, 0};
  EXPECT_EQ(disk.Collect({R"(C:\a\chrome.exe)", "chrome.exe", "Other.exe"}),
            (Texts{"chrome.exe", "chrome_proxy.exe", "chrome_pwa_launcher.exe", "other.exe"}));
}

TEST(BypassExecutables, TheFolderFollowsItsApplicationInTheOrderOfTheApplications) {
  Disk disk{{{R"(C:\a)", {"z.exe", "y.exe"}}, {"D:/b", {"x.exe"}}}, {}, 0};
  EXPECT_EQ(disk.Collect({R"(C:\a\one.exe)", "D:/b/two.exe"}),
            (Texts{"one.exe", "z.exe", "y.exe", "two.exe", "x.exe"}));
  EXPECT_EQ(disk.asked, (Texts{R"(C:\a)", "D:/b"}));
}

TEST(BypassExecutables, DoubledBackslashesAreHandedOnAsTheyAre) {
  Disk disk;
  EXPECT_EQ(disk.Collect({R"(C:\\Program Files\\App\\App.exe)"}), Texts{"app.exe"});
  EXPECT_EQ(disk.asked, Texts{R"(C:\\Program Files\\App\)"});
}

TEST(BypassExecutables, FoldersOfPackagedStoreApplicationsAreNotLookedAt) {
  Disk disk;
  EXPECT_EQ(disk.Collect({R"(C:\Program Files\WindowsApps\Pkg\a.exe)", R"(C:\\WINDOWSAPPS\\Pkg\\b.exe)"}),
            (Texts{"a.exe", "b.exe"}));
  EXPECT_EQ(disk.asked, Texts{});
  disk.Collect({R"(C:\WindowsApps2\c.exe)", "C:/WindowsApps/d.exe", R"(WindowsApps\e.exe)"});
  EXPECT_EQ(disk.asked, (Texts{R"(C:\WindowsApps2)", "C:/WindowsApps", "WindowsApps"}));
}

TEST(BypassExecutables, InstallersUpdatersAndCrashReportersAreLeftOut) {
  Disk disk{{{"C:",
              {"unins000.exe", "Uninsane.exe", "my-uninstaller.exe", "SETUP.exe", "update.exe", "AppUpdater.exe",
               "crashpad_handler.exe", "Notification_Helper.exe", "setup64.exe", "updates.exe", "myunins.exe"}}},
            {},
            0};
  EXPECT_EQ(disk.Collect({R"(C:\app.exe)"}), (Texts{"app.exe", "setup64.exe", "updates.exe", "myunins.exe"}));
}

TEST(BypassExecutables, ABlockedApplicationThatIsAnInstallerIsTakenAllTheSame) {
  EXPECT_EQ(Disk().Collect({"setup.exe", R"(C:\x\Updater.exe)"}), (Texts{"setup.exe", "updater.exe"}));
}

TEST(BypassExecutables, TwelveNamesAreTakenFromOneFolderAndTheListingEnds) {
  Disk disk{{{R"(C:\a)", Numbered(40)}}, {}, 0};
  Texts expected = Numbered(12);
  expected.insert(expected.begin(), "app.exe");
  EXPECT_EQ(disk.Collect({R"(C:\a\app.exe)"}), expected);
  EXPECT_EQ(disk.shown, 12u);
}

TEST(BypassExecutables, WhatIsLeftOutDoesNotCountTowardsTheTwelve) {
  Texts names = Numbered(13);
  names.insert(names.begin(), {"unins000.exe", "app.exe", "update.exe"});
  Disk disk{{{R"(C:\a)", names}}, {}, 0};
  EXPECT_EQ(disk.Collect({R"(C:\a\app.exe)"}).size(), 13u);
}

TEST(BypassExecutables, EveryApplicationHasTwelveOfItsOwn) {
  Disk disk{{{R"(C:\a)", Numbered(40)}}, {}, 0};
  EXPECT_EQ(disk.Collect({R"(C:\a\one.exe)", R"(C:\a\two.exe)"}).size(), 26u);
}

TEST(BypassExecutables, OnlyAsciiLettersAreFolded) {
  Disk disk{{{R"(C:\a)", {"\xD0\x9F\xD0\xA0.EXE"}}}, {}, 0};
  EXPECT_EQ(disk.Collect({R"(C:\a\app.exe)"}), (Texts{"app.exe", "\xD0\x9F\xD0\xA0.exe"}));
}

}  // namespace
}  // namespace moorlak
