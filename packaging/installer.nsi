; The Windows installer. It copies the package's files into a folder that only administrators may change,
; creates the log folder and registers an uninstaller. It does not change autostart, PATH or the Start menu.
;
; Silent installation: setup.exe /S [/D=folder, as the last argument, without quotation marks]; silent
; removal: uninstall.exe /S. Exit status: 0 success, 1 cancelled, 2 failed, for example because a program is
; still running.

Target amd64-unicode
Unicode true
ManifestSupportedOS Win10
SetCompressor /SOLID zlib
SetDateSave off ; reproducible: the same files give the same installer
CRCCheck force

!include MUI2.nsh
!include LogicLib.nsh
!include "${FILES}"

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\velm_sof_client"

Name "velm_sof_client ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\velm_sof_client"
InstallDirRegKey HKLM "${UNINSTALL_KEY}" "InstallLocation"
RequestExecutionLevel admin
ShowInstDetails nevershow
ShowUninstDetails nevershow

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "velm_sof_client"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "velm_sof_client ${VERSION} setup"
VIAddVersionKey "LegalCopyright" ""

!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"
!insertmacro MUI_LANGUAGE "SimpChinese"

LangString IN_USE ${LANG_ENGLISH} "$0 is in use. End the programs that use it, then try again."
LangString IN_USE ${LANG_SIMPCHINESE} "$0 正在使用。请先结束使用它的程序，然后重试。"
LangString UNSAFE_EARLIER ${LANG_ENGLISH} "Other users can change the version that is installed in $0. \
Its uninstaller is not run with your rights. Check the folder, uninstall this version, then try again."
LangString UNSAFE_EARLIER ${LANG_SIMPCHINESE} "其他用户可以修改已安装在 $0 的版本，因此不会以您的权限运行其卸载程序。\
请检查该目录并卸载该版本，然后重试。"
LangString UNSAFE_FOLDER ${LANG_ENGLISH} "Other users can change the folder $INSTDIR. \
Choose another folder, or a new one."
LangString UNSAFE_FOLDER ${LANG_SIMPCHINESE} "其他用户可以修改目录 $INSTDIR。请选择其他目录或新目录。"
LangString STILL_THERE ${LANG_ENGLISH} "The version that is installed in $0 could not be removed."
LangString STILL_THERE ${LANG_SIMPCHINESE} "无法卸载已安装在 $0 的版本。"

!macro StopWith TEXT
  MessageBox MB_OK|MB_ICONSTOP "${TEXT}" /SD IDOK
  SetErrorLevel 2
  Abort
!macroend

; A running program or a loaded library cannot be opened for writing.
!macro StopIfInUse FILE
  StrCpy $0 "$INSTDIR\${FILE}"
  ${If} ${FileExists} $0
    ClearErrors
    FileOpen $1 $0 a
    ${If} ${Errors}
      !insertmacro StopWith "$(IN_USE)"
    ${EndIf}
    FileClose $1
  ${EndIf}
!macroend

; Runs the program that checks and sets permissions. $1 is 0 if the answer is yes.
!macro FolderGuard ARGUMENTS
  ExecWait '"$PLUGINSDIR\folder_guard.exe" ${ARGUMENTS}' $1
!macroend

; Only one installation is supported: an earlier one of any version in any folder is removed.
!macro RemoveEarlier
  ReadRegStr $0 HKLM "${UNINSTALL_KEY}" "InstallLocation"
  ${If} $0 != ""
  ${AndIf} ${FileExists} "$0\uninstall.exe"
    ; Otherwise another user could have replaced the program that is run here with administrator rights.
    !insertmacro FolderGuard 'is-protected "$0" "$0\uninstall.exe"'
    ${If} $1 != 0
      !insertmacro StopWith "$(UNSAFE_EARLIER)"
    ${EndIf}
    ExecWait '"$0\uninstall.exe" /S _?=$0' $1 ; with _?= it runs in place, so ExecWait waits for it
    ${If} $1 != 0
      !insertmacro StopWith "$(STILL_THERE)"
    ${EndIf}
    Delete "$0\uninstall.exe"
    RMDir "$0"
  ${EndIf}
!macroend

Section
  InitPluginsDir
  File "/oname=$PLUGINSDIR\folder_guard.exe" "${FOLDER_GUARD}"
  !insertmacro RemoveEarlier
  !insertmacro FolderGuard 'protect "$INSTDIR"'
  ${If} $1 != 0
    !insertmacro StopWith "$(UNSAFE_FOLDER)"
  ${EndIf}
  !insertmacro InstallFiles
  ; Programs work without the log, so a failure does not stop the installation; `sof doctor` reports it.
  !insertmacro FolderGuard "create-log-folder"
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "velm_sof_client"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "VELM"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  SectionGetSize 0 $0
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "EstimatedSize" $0
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

Section un.Installation
  !define ACTION StopIfInUse
  !insertmacro ForEachProgram
  !insertmacro RemoveFiles
  DeleteRegKey HKLM "${UNINSTALL_KEY}"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
SectionEnd
