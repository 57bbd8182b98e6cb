// Built with the plugin's flags and nothing of ours to export: what it exports, the build flavour added.
int referenceModuleFunction(int value) { return value + 1; }
