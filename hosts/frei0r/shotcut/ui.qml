import QtQuick 2.12
import QtQuick.Controls 2.12
import QtQuick.Layouts 1.12
import Shotcut.Controls 1.0 as Shotcut

import 'rows.js' as Table

// A control for each row of the table. Each says by show() what the filter holds; the filter's
// "threads" is left alone, since slices of a frame would be keyed against plates of their own.
Item {
    id: panel

    property var names: Table.rows.map(function(row) { return row.name; })
    property bool ready: false

    function put(name, value) {
        if (ready)
            filter.set(name, value);
    }

    function show() {
        ready = false;
        for (var i = 0; i < controls.count; ++i)
            controls.itemAt(i).children[1].item.show();
        ready = true;
    }

    width: 400
    height: 40 * (Table.rows.length + 1)
    Component.onCompleted: {
        if (filter.isNew) {
            Table.rows.forEach(function(row) { filter.set(row.name, row.start); });
            filter.savePreset(names);
        }
        show();
    }

    Component {
        id: colour

        Shotcut.ColorPicker {
            property var row

            function show() {
                value = filter.get(row.name);
            }

            // Colours are picked from the source, not from the result.
            onPickStarted: filter.set('disable', 1)
            onPickCancelled: filter.set('disable', 0)
            onValueChanged: {
                panel.put(row.name, value);
                panel.put('disable', 0);
            }
        }
    }

    Component {
        id: onOff

        CheckBox {
            property var row

            function show() {
                checked = filter.getDouble(row.name) >= 0.5;
            }

            onClicked: panel.put(row.name, checked ? 1 : 0)
        }
    }

    Component {
        id: choice

        Shotcut.ComboBox {
            property var row

            function show() {
                model = row.labels;
                currentIndex = Math.max(0, row.shares.indexOf(filter.getDouble(row.name)));
            }

            implicitWidth: 180
            onActivated: panel.put(row.name, row.shares[currentIndex])
        }
    }

    Component {
        id: number

        Shotcut.SliderSpinner {
            property var row

            function show() {
                minimumValue = row.low;
                maximumValue = row.high;
                value = row.low + Math.round(filter.getDouble(row.name) * (row.high - row.low));
            }

            onValueChanged: panel.put(row.name, (value - row.low) / (row.high - row.low))
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 8

        RowLayout {
            Label {
                text: qsTr('Preset')
                Layout.preferredWidth: 180
                horizontalAlignment: Text.AlignRight
            }

            Shotcut.Preset {
                parameters: panel.names
                onPresetSelected: panel.show()
            }
        }

        Repeater {
            id: controls

            model: Table.rows

            RowLayout {
                Label {
                    text: modelData.label
                    Layout.preferredWidth: 180
                    horizontalAlignment: Text.AlignRight
                }

                Loader {
                    Layout.fillWidth: true
                    sourceComponent: ({ 'colour': colour, 'switch': onOff, 'choice': choice,
                                        'number': number })[modelData.kind]
                    onLoaded: item.row = modelData
                }
            }
        }

        Item {
            Layout.fillHeight: true
        }
    }
}
