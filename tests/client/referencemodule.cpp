// Built with the plugin's flags and no code of ours worth exporting: whatever
// it exports, the build flavour added (an instrumented build's runtime, say).
int referenceModuleFunction(int value) { return value + 1; }
