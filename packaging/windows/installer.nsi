; The installer of the Windows plug-in. Built by the CMake target "installer", which defines VERSION, BUILD (the folder with the binaries),
; NOTICES (the licence texts of what is linked) and OUTPUT.
;
; Silent: qorix-importer-setup.exe /S [/CurrentUser] [/D=the host's plug-in folder]; exit code 2 when that folder is neither found nor given, or
; when a file cannot be replaced.

Unicode true
Target amd64-unicode
RequestExecutionLevel highest
SetCompressor /SOLID lzma
AllowSkipFiles off ; a plug-in in use that cannot be replaced is a failure
Name "qorix importer ${VERSION}"
OutFile "${OUTPUT}"
BrandingText "qorix importer ${VERSION}"
ShowInstDetails nevershow

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "qorix importer"
VIAddVersionKey "FileDescription" "Installs the qorix importer"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" ""

!include LogicLib.nsh
!include FileFunc.nsh
!include x64.nsh

!define PLUGIN "qorix-importer.prm"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\qorix-importer"
; Below the maker's folder in Program Files; hosts of one maker share it.
!define PLUGIN_FOLDER "Common\Plug-ins\7.0\MediaCore"

Var UserSwitch
Var ProgramFolder ; of the uninstaller, the health check and the licence texts; $INSTDIR is the host's plug-in folder

LicenseText "The texts below belong to libraries that the plug-in contains." "Continue"
LicenseData "${NOTICES}"
DirText "The plug-in goes into the folder where your editing program looks for its importers. It usually ends in ${PLUGIN_FOLDER}. \
Close the program first."
Page license
Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

; Administrators install for all users unless they say /CurrentUser, others for themselves. An installation knows by that switch in its
; uninstall command whose it is.
!macro ChooseContext
  SetRegView 64
  UserInfo::GetAccountType
  Pop $0
  ${GetParameters} $1
  ClearErrors
  ${GetOptions} $1 "/CurrentUser" $2
  ${If} ${Errors} ; no such switch
  ${AndIf} $0 == "Admin"
    StrCpy $UserSwitch ""
    SetShellVarContext all
    StrCpy $ProgramFolder "$PROGRAMFILES64\qorix importer"
  ${Else}
    StrCpy $UserSwitch " /CurrentUser"
    SetShellVarContext current
    StrCpy $ProgramFolder "$LOCALAPPDATA\Programs\qorix importer"
  ${EndIf}
!macroend

Function FindPluginFolder
  FindFirst $0 $1 "$PROGRAMFILES64\*.*"
  ${DoWhile} $1 != ""
    ${If} $1 != "."
    ${AndIf} $1 != ".."
    ${AndIf} ${FileExists} "$PROGRAMFILES64\$1\${PLUGIN_FOLDER}\*.*"
      StrCpy $INSTDIR "$PROGRAMFILES64\$1\${PLUGIN_FOLDER}"
      ${ExitDo}
    ${EndIf}
    FindNext $0 $1
  ${Loop}
  FindClose $0
FunctionEnd

Function .onInit
  !insertmacro ChooseContext
  ${If} $INSTDIR == "" ; no /D=
    ReadRegStr $0 SHCTX "${UNINSTALL_KEY}" "PluginFolder" ; where an earlier version went
    StrCpy $INSTDIR $0
  ${EndIf}
  ${If} $INSTDIR == ""
    Call FindPluginFolder
  ${EndIf}
  ${If} ${Silent}
  ${AndIf} $INSTDIR == ""
    SetErrorLevel 2
    Quit
  ${EndIf}
FunctionEnd

Section
  SetOutPath "$INSTDIR"
  File "${BUILD}/${PLUGIN}"
  SetOutPath "$ProgramFolder"
  File "${BUILD}/qorix-check.exe"
  File /oname=LICENSES.txt "${NOTICES}"
  WriteUninstaller "$ProgramFolder\uninstall.exe"

  WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayName" "qorix importer"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "Publisher" "qorix importer"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "PluginFolder" "$INSTDIR"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "InstallLocation" "$ProgramFolder"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "UninstallString" '"$ProgramFolder\uninstall.exe"$UserSwitch'
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "QuietUninstallString" '"$ProgramFolder\uninstall.exe" /S$UserSwitch'
  WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoRepair" 1
  ${GetSize} "$ProgramFolder" "/S=0K" $0 $1 $2
  IntFmt $0 "0x%08X" $0
  WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "EstimatedSize" "$0"
SectionEnd

Function un.onInit
  !insertmacro ChooseContext
FunctionEnd

; The user's default settings stay, as projects and a later version go on using them.
Section "Uninstall"
  ReadRegStr $0 SHCTX "${UNINSTALL_KEY}" "PluginFolder"
  ${If} $0 != ""
    ClearErrors
    Delete "$0\${PLUGIN}"
    ${If} ${Errors} ; the editing program has it open
      MessageBox MB_OK|MB_ICONEXCLAMATION "The plug-in is in use. Close your editing program and try again." /SD IDOK
      SetErrorLevel 2
      Abort
    ${EndIf}
  ${EndIf}
  Delete "$INSTDIR\qorix-check.exe"
  Delete "$INSTDIR\LICENSES.txt"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey SHCTX "${UNINSTALL_KEY}"
SectionEnd
