// Registry keys below HKEY_LOCAL_MACHINE that several rooms read, by owner.
#pragma once

namespace setupactions {

// The suite's own.
const char CompanyKey[] = "SOFTWARE\\Tarnwick";
const char SuiteKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0";
const char EnterpriseOptionsKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Enterprise\\Options";
const char EnterpriseRootKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Enterprise\\InstallRoot";
const char WebContentRootKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Web Content\\InstallRoot";

// A value of Options keys: where the suite's plug-ins are.
const char InformationDirectory[] = "CInfoDirectory";

// Java's and ASP.NET's.
const char JavaRuntimeKey[] = "SOFTWARE\\JavaSoft\\Java Runtime Environment";
const char JavaKitKey[] = "SOFTWARE\\JavaSoft\\Java Development Kit";
const char AspNetKey[] = "SOFTWARE\\Microsoft\\ASP.NET";

} // namespace setupactions
