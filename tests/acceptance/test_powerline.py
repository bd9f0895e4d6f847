"""An adapter on the powerline network is a target of its own, reached with its gateway's certificate."""
from gateway import powerline_image
from outcomes import assert_closed_once, poll_now, texts_of
from powerline_network import NEW, OLD, WITH_SERIAL, PowerlineNetwork


def test_adapter_gets_its_firmware_as_a_target_beside_its_gateway(home):
    network = PowerlineNetwork(home)
    serial = f"sn-{home.label}"
    adapter = network.line.add(WITH_SERIAL, serial=serial, firmware=OLD, name="living room")
    network.start()
    network.wait_for_agents(home.device, serial)
    home.wait_until_registered()
    known = home.wait_until(lambda: (found := home.server.target(serial)) and found.attributes and found,
                            "the adapter and its attributes")
    image = home.module("plc_ghn", "adapter", NEW, {"plc.bin": powerline_image(NEW) + home.label.encode()})
    action = home.server.assign(serial, [image])
    home.gateway.bus.call("force_poll", {"agent_id": serial})

    record = assert_closed_once(home, action)

    assert dict(known.attributes).items() >= {"parent": home.device, "device_type": "ghn"}.items()
    assert adapter.firmware == NEW
    assert ["Installation started", image.chunk] in texts_of(record, "running")
    assert texts_of(record, "finished") == [["Deployment successful"]]
    assert home.server.target(serial).update_status == "in_sync"
    assert home.server.target(home.device).update_status == "registered"
    assert home.gateway.leftovers() == []


def test_gateway_and_adapter_are_updated_side_by_side(home):
    network = PowerlineNetwork(home)
    serial = f"sn-{home.label}"
    adapter = network.line.add(WITH_SERIAL, serial=serial, firmware=OLD)
    network.start()
    network.wait_for_agents(home.device, serial)
    home.wait_until_registered()
    home.wait_until(lambda: home.server.target(serial), "the adapter")
    image = home.module("plc_ghn", "adapter", NEW, {"plc.bin": powerline_image(NEW) + home.label.encode()})
    actions = [home.server.assign(serial, [image]), home.assign(home.script("one", "echo fine"))]
    poll_now(home)

    records = [assert_closed_once(home, action) for action in actions]

    assert adapter.firmware == NEW
    assert image.chunk not in records[1].reported
    assert [texts_of(record, "finished") for record in records] == [[["Deployment successful"]]] * 2
