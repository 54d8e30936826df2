// PLACEHOLDER: an empty page until this page is built.
#include "ui/pages/pages.h"

#include <QWidget>

QWidget *createAppSection(SettingsModel *, QWidget *parent) { return new QWidget(parent); }
