// The save dialog on Windows: GetSaveFileNameA with the structure size of the
// pre-2000 OPENFILENAMEA (76 bytes on 32-bit Windows), as the hosts expect.
#include <windows.h>
#include <commdlg.h>

#include "platform/dialogs.h"

namespace vexa::platform {

extern const char kPathSeparator = '\\';

bool SaveFileDialog(void* owner, const char* filter, const char* defaultExtension, const char* initialDirectory,
                    char* path, int32_t* fileOffset) {
    OPENFILENAMEA dialog{};
    dialog.lStructSize = OPENFILENAME_SIZE_VERSION_400A;
    dialog.hwndOwner = static_cast<HWND>(owner);
    dialog.lpstrFilter = filter;
    dialog.lpstrFile = path;
    dialog.nMaxFile = kDialogPathBytes;
    dialog.lpstrInitialDir = initialDirectory;
    dialog.lpstrDefExt = defaultExtension;
    dialog.Flags = OFN_EXPLORER | OFN_NOREADONLYRETURN | OFN_PATHMUSTEXIST | OFN_HIDEREADONLY | OFN_OVERWRITEPROMPT;
    if (!GetSaveFileNameA(&dialog)) return false;
    *fileOffset = dialog.nFileOffset;
    return true;
}

// Windows shows its own dialog; there is no host callback.
void SetSaveDialogCallback(SaveDialogCallback) {}

}  // namespace vexa::platform
