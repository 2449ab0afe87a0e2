// The UI texts the package ships (deploy/texts/<language>/strings), built
// into cantora-admin so that init installs them without the source tree.
#ifndef CANTORA_TOOLS_ADMIN_DEPLOY_TEXTS_H
#define CANTORA_TOOLS_ADMIN_DEPLOY_TEXTS_H

struct DeployText {
  const char* language;
  const char* strings;  // the file's text
};

// Ended by an entry whose language is null.
extern const DeployText kDeployTexts[];

#endif
