rem Written anew by the installation.
