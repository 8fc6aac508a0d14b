#pragma once

#include "core_videobase/bannerpara.h"
#include "core_videobase/vantorexport.h"
#include "core_videobase/videotypes.h"

#include <QList>
#include <QWidget>

class QLabel;
class QPushButton;

/// The thin bar of icon buttons and an information text along one edge of a display widget.
///
/// A button's state is the end of its object name: "btnTalk" and "btnTalkMuted" for talk-back, "btnSound" and
/// "btnMuted" for sound. A click moves the button to its other state (name and icon) and reports the new name; buttons
/// with other names are reported as they are. The icons of the states are the host's resources below ":/primary/".
///
/// A new record takes effect in two steps, which the owner asks for as it needs them: initButton() for buttons, layout
/// and edge, initStyle() for the colours. Both have run once when the constructor returns.
///
/// GUI thread only. Every operation may be called from a slot of btnClicked(), deleting the bar included.
class VANTOR_EXPORT BannerWidget : public QWidget
{
    Q_OBJECT

public:
    /// The bar is called "bannerWidget", which its own style sheet goes by: an owner keeps that name.
    explicit BannerWidget(QWidget* parent = nullptr);
    ~BannerWidget() override;

    BannerPara getBannerPara() const;

Q_SIGNALS:
    /// A button was clicked. Emitted after the button took its new state; @p btnName is its new object name.
    void btnClicked(const QString& btnName);

public Q_SLOTS:
    /// Only keeps the record; see initButton() and initStyle().
    void setBannerPara(const BannerPara& bannerPara);

    /// Builds the layout and the buttons anew. Does nothing when there are not as many icons as names.
    ///
    /// A bar at the top or bottom begins with the information text; one at the left or right has none.
    void initButton();

    /// Applies the colours of the record.
    void initStyle();

    /// Shows @p text, with a note behind it while a recording runs.
    void showInfo(const QString& text);

    /// Moves the first button whose object name ends with @p objNameSrc to the state @p objNameDst with @p icon.
    /// Further buttons that end so stay as they are.
    void changeStatus(const QString& objNameSrc, const QString& objNameDst, const QString& icon);

    /// The sound was switched off or on elsewhere.
    void receiveMuted(bool muted);

    /// Nothing is played any more: the sound button returns to its first state.
    void receivePlayFinsh();

    /// Shows or removes the note behind the information text; @p file is not shown.
    void recorderStateChanged(const RecorderState& state, const QString& file);

private Q_SLOTS:
    void btnClicked();

private:
    bool isVertical() const;
    void removeButtons();
    void makeLayout();
    void addButton(const QString& name, const QString& icon, const QString& tip);
    static void setStatus(QPushButton* button, const QString& from, const QString& to, const QString& icon);

    BannerPara para;
    bool recording = false;
    QString info;
    QLabel* infoLabel; // child of the bar
    QList<QPushButton*> buttons; // children of the bar, in the record's order
};
