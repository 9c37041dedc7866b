"""The parts of korvane-setup.  This file keeps another module "setup" of the machine from being taken for them."""
