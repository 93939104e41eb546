// Precompiled for the window and its tests.
#pragma once
#include "core.h"
#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QWidget>
