#pragma once

#include <QString>

#include "app/Brand.h"

// Whether a vault's `.mcp.json` lists the daemon's tool server, so that `claude` sessions opened
// there find the registry, and the entry another project would add.
namespace mnemora::McpRegistration {

// True when `{vault}/.mcp.json` holds the brand's server key in double quotes; a missing or
// unreadable file is simply not registered.
bool isRegistered(const QString& vaultRoot, Brand brand);

// The words of the registration line.
QString registeredText(const QString& vaultRoot);
QString notRegisteredTitle();
QString notRegisteredText();

// `{"mcpServers": {"{key}": {"command": "{daemon}", "args": ["mcp-server"]}}}`, indented.
QString snippet(Brand brand, const QString& daemonBinaryPath);
QString snippetHeading();

} // namespace mnemora::McpRegistration
