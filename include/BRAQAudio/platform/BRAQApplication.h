#pragma once

#include "BRAQAudio/platform/export.h"

#include <string>

/// @addtogroup devices
/// @{

/// How this program and what it plays appear in the user's mixers. Running streams change as well. Texts are UTF-8; any
/// thread but an I/O thread.
class BRAQ_EXPORT BRAQApplication {
  public:
    BRAQApplication() = delete;

    /// The program's name for users; unless set, or when set to nothing, the name of its file. Session managers remember
    /// levels and devices by it: set it before the first start, and always the same.
    static void setName(const std::string& name);
    static std::string name();

    /// Name of the program's icon in the desktop's icon themes (XDG), such as "org.example.Player"; initially none.
    static void setIconName(const std::string& name);
    static std::string iconName();

    /// What streams are for: "Music", "Movie", "Game", "Notification", "Communication", "Production" and others that session
    /// managers have rules for; initially none. Some session managers give all programs of one role the same level.
    static void setRole(const std::string& role);
    static std::string role();

    /// Title of what is played, for example "Artist - Title"; initially none.
    static void setTitle(const std::string& title);
    static std::string title();
};

/// @}
