#pragma once
// The shell's own commands: load, create, remove, list, packages, answer,
// newLattice and exit (see docs/korin-shell.md). Each checks its word count
// against its usage and fails with "COMMAND: expected USAGE"; every failure
// sets the result and returns TCL_ERROR, none prints.
class KorinShell;

void createShellCommands(KorinShell& shell);
